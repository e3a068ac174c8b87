#include "trace/LineReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace rksignal {

InputFile::InputFile(const std::string& path)
    : name(path), handle(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (handle < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
    struct stat status {};
    if (fstat(handle, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(handle);
        throw std::system_error(EISDIR, std::generic_category(), "cannot open " + path);
    }
}

InputFile::~InputFile() {
    if (handle != STDIN_FILENO) {
        close(handle);
    }
}

std::uint64_t InputFile::size() const {
    struct stat status {};
    const bool isFile = fstat(handle, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::size_t InputFile::read(char* to, std::size_t size) const {
    ssize_t count = 0;
    do {
        count = ::read(handle, to, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot read " + name);
    }
    return static_cast<std::size_t>(count);
}

std::string InputFile::readAll() const {
    std::string text;
    for (std::size_t used = 0;;) {
        text.resize(used + std::max<std::size_t>(65536, used / 2));
        const std::size_t count = read(text.data() + used, text.size() - used);
        used += count;
        if (count == 0) {
            text.resize(used);
            return text;
        }
    }
}

LineReader::LineReader(const InputFile& file, std::function<void(std::uint64_t)> beforeRead)
    : file(file), beforeRead(std::move(beforeRead)), buffer(std::size_t{256} * 1024), at(buffer.data()),
      end(at) {}

bool LineReader::next(std::string_view& line) {
    if (unfinished && !skipLine()) {
        return false;
    }
    overlong = false;
    const char* searched = at;
    for (;;) {
        const auto* const lineEnd =
            static_cast<const char*>(std::memchr(searched, '\n', static_cast<std::size_t>(end - searched)));
        if (lineEnd != nullptr) {
            line = give(at, lineEnd);
            at = lineEnd + 1;
            return true;
        }
        const auto pending = end - at;
        if (static_cast<std::size_t>(pending) > maxLength + 1) { // one more for a carriage return
            line = give(at, end);
            unfinished = true;
            return true;
        }
        if (!refill()) {
            return lastLine(line);
        }
        searched = at + pending;
    }
}

/// The bytes behind the last line end, if there are any.
bool LineReader::lastLine(std::string_view& line) {
    if (at == end) {
        return false;
    }
    line = give(at, end);
    at = end;
    return true;
}

/// Moves the pending bytes to the front and reads more behind them. \return false at the end of the file
bool LineReader::refill() {
    if (beforeRead) {
        beforeRead(bytes);
    }
    const auto pending = static_cast<std::size_t>(end - at);
    std::memmove(buffer.data(), at, pending);
    at = buffer.data();
    end = at + pending;
    const std::size_t count = file.read(buffer.data() + pending, buffer.size() - pending);
    end += count;
    bytes += count;
    return count > 0;
}

/// Drops everything up to the next line end. \return false if there is none
bool LineReader::skipLine() {
    unfinished = false;
    for (;;) {
        const void* const lineEnd = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
        if (lineEnd != nullptr) {
            at = static_cast<const char*>(lineEnd) + 1;
            return true;
        }
        at = end;
        if (!refill()) {
            return false;
        }
    }
}

std::string_view LineReader::give(const char* first, const char* last) {
    ++number;
    if (last != first && last[-1] == '\r') {
        --last;
    }
    auto length = static_cast<std::size_t>(last - first);
    overlong = length > maxLength;
    return {first, overlong ? maxLength : length};
}

} // namespace rksignal

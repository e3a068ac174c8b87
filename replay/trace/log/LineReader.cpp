#include "trace/log/LineReader.h"

#include "text/TextEncoding.h"

#include <algorithm>
#include <cstring>

namespace rksignal {
namespace {

/// A block; for a small file, room for it and its end, so that many of them take little memory.
std::size_t bufferSize(const InputFile& file) {
    constexpr std::uint64_t block = std::uint64_t{256} * 1024;
    constexpr std::uint64_t least = 2 * (LineReader::maxLength + 2);
    return static_cast<std::size_t>(file.size() == 0 ? block : std::clamp(file.size() + 1, least, block));
}

} // namespace

LineReader::LineReader(InputFile& file) : file(file), buffer(bufferSize(file)), at(buffer.data()), end(at) {}

/// The first line, one that is too long, and one that is not wholly in the buffer, among all others.
bool LineReader::nextOfAnyKind(std::string_view& line) {
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
            ended = true;
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

/// The bytes behind the last line end, if there are any. Where damage has cut them off, they are no line:
/// what is left of a number would be another one.
bool LineReader::lastLine(std::string_view& line) {
    if (at == end || !file.damage().empty()) {
        return false;
    }
    line = give(at, end);
    at = end;
    ended = false;
    return true;
}

/// Moves the pending bytes to the front and reads more behind them. \return false at the end of the file
bool LineReader::refill() {
    const auto pending = static_cast<std::size_t>(end - at);
    std::memmove(buffer.data(), at, pending);
    at = buffer.data();
    end = at + pending;
    const std::size_t count = file.read(buffer.data() + pending, buffer.size() - pending);
    end += count;
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
    const std::string_view line(first, last);
    overlong = line.size() > maxLength;
    return number == 1 ? withoutByteOrderMark(line.substr(0, maxLength)) : line.substr(0, maxLength);
}

} // namespace rksignal

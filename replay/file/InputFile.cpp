#include "file/InputFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace rksignal {

InputFile::InputFile(const std::string& path, BeforeRead beforeRead)
    : name(path), beforeRead(std::move(beforeRead)),
      handle(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
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

std::string_view InputFile::peek(std::size_t size) {
    for (std::size_t used = ahead.size(); used < size;) {
        ahead.resize(size);
        const std::size_t count = readFurther(ahead.data() + used, size - used);
        used += count;
        ahead.resize(used);
        if (count == 0) {
            break;
        }
    }
    return ahead;
}

std::size_t InputFile::read(char* to, std::size_t size) {
    const std::size_t peeked = ahead.copy(to, size);
    ahead.erase(0, peeked);
    const std::size_t count = peeked + (peeked < size ? readFurther(to + peeked, size - peeked) : 0);
    given += count;
    return count;
}

std::size_t InputFile::readFurther(char* to, std::size_t size) const {
    if (beforeRead) {
        beforeRead(handle);
    }
    ssize_t count = 0;
    do {
        count = ::read(handle, to, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot read " + name);
    }
    return static_cast<std::size_t>(count);
}

void InputFile::enlarge(std::string& text, std::size_t size) const {
    try {
        text.resize(size);
    } catch (const std::bad_alloc&) {
        throw std::system_error(ENOMEM, std::generic_category(), "cannot read " + name);
    }
}

std::string InputFile::readAll() {
    std::string text;
    for (std::size_t used = 0;;) {
        enlarge(text, used + std::max<std::size_t>(65536, used / 2));
        const std::size_t count = read(text.data() + used, text.size() - used);
        used += count;
        if (count == 0) {
            text.resize(used);
            return text;
        }
    }
}

} // namespace rksignal

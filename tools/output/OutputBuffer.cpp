#include "output/OutputBuffer.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace rksignal {

/// Writes the first `size` bytes and moves the rest to the front.
void OutputBuffer::write(std::size_t size) {
    if (target != nullptr && size > 0) {
        awaitTurn();
        target->flush();
        std::size_t written = 0;
        pieces.push_back(size);
        for (const std::size_t end : pieces) {
            target->writeThrough({buffer.data() + written, std::min(end, size) - written});
            written = std::min(end, size);
        }
        pieces.clear();
    } else {
        writeThrough({buffer.data(), size});
    }
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(size),
              buffer.begin() + static_cast<std::ptrdiff_t>(used), buffer.begin());
    used -= size;
    rows -= std::min(rows, size);
}

void OutputBuffer::writeThrough(std::string_view bytes) {
    std::size_t written = 0;
    while (written < bytes.size() && failure == 0) {
        const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            failure = errno;
            cutOff(written);
        }
    }
}

/// Takes the last bytes of a regular file away, unless somebody else has written behind them.
void OutputBuffer::cutOff(std::size_t written) const {
    struct stat file {};
    const off_t end = lseek(descriptor, 0, SEEK_CUR);
    if (written > 0 && fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == end) {
        [[maybe_unused]] const int ignored = ftruncate(descriptor, end - static_cast<off_t>(written));
    }
}

void OutputBuffer::flush() {
    write(used);
}

/// Writes the whole rows, or everything if that is not enough.
void OutputBuffer::makeRoom(std::size_t size) {
    if (rows > 0) {
        write(rows);
    }
    if (size > capacity - used) {
        flush();
    }
}

bool OutputBuffer::isTerminal() const {
    return isatty(descriptor) == 1;
}

bool OutputBuffer::finish() {
    flush();
    if (closed() && error() != EPIPE) {
        throw std::system_error(error(), std::generic_category(), "cannot write " + name);
    }
    return !closed();
}

void OutputBuffer::appendInPieces(std::string_view text) {
    while (!text.empty()) {
        if (used == capacity || (rows > 0 && text.size() > capacity - used)) {
            makeRoom(1);
        }
        const std::size_t size = std::min(text.size(), capacity - used);
        text.copy(buffer.data() + used, size);
        used += size;
        text.remove_prefix(size);
    }
}

} // namespace rksignal

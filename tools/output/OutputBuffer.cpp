#include "output/OutputBuffer.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace rksignal {

void OutputBuffer::flush() {
    const char* at = buffer.data();
    const char* const end = at + used;
    while (at != end && failure == 0) {
        const ssize_t count = write(descriptor, at, static_cast<std::size_t>(end - at));
        if (count >= 0) {
            at += count;
        } else if (errno != EINTR) {
            failure = errno;
        }
    }
    used = 0;
}

bool OutputBuffer::finish() {
    flush();
    if (closed() && error() != EPIPE) {
        throw std::system_error(error(), std::generic_category(), "cannot write the output");
    }
    return !closed();
}

void OutputBuffer::appendInPieces(std::string_view text) {
    while (!text.empty()) {
        if (used == capacity) {
            flush();
        }
        const std::size_t size = std::min(text.size(), capacity - used);
        text.copy(buffer.data() + used, size);
        used += size;
        text.remove_prefix(size);
    }
}

} // namespace rksignal

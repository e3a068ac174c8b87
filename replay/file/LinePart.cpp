#include "file/LinePart.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace rksignal {

LinePart::LinePart(std::unique_ptr<InputFile> whole, std::uint64_t from, std::uint64_t to)
    : file(std::move(whole)), first(firstLineFrom(from)), end(to), at(first), isAtEnd(first >= to) {}

/// A line begins behind a line end, which may be the byte before `from`.
std::uint64_t LinePart::firstLineFrom(std::uint64_t from) {
    constexpr std::size_t block = 4096;
    if (from == 0) {
        return 0;
    }
    std::vector<char> bytes(block);
    for (std::uint64_t place = from - 1;;) {
        const std::size_t count = file->readAt(place, bytes.data(), bytes.size());
        const void* const lineEnd = std::memchr(bytes.data(), '\n', count);
        if (lineEnd != nullptr) {
            return place + static_cast<std::uint64_t>(static_cast<const char*>(lineEnd) - bytes.data()) + 1;
        }
        place += count;
        if (count == 0) {
            return place;
        }
    }
}

std::size_t LinePart::read(char* to, std::size_t size) {
    if (isAtEnd) {
        return 0;
    }
    std::size_t count = file->readAt(at, to, size);
    // The last line ends with the first line end from the byte before `end` on.
    const std::uint64_t before = end - 1 > at ? end - 1 - at : 0;
    if (before < count) {
        const void* const lineEnd = std::memchr(to + before, '\n', count - static_cast<std::size_t>(before));
        if (lineEnd != nullptr) {
            count = static_cast<std::size_t>(static_cast<const char*>(lineEnd) - to) + 1;
            isAtEnd = true;
        }
    }
    at += count;
    return count;
}

std::unique_ptr<ContentStream> LinePart::reopen() const {
    return std::make_unique<LinePart>(file->reopen(), first, end);
}

std::uint64_t LinePart::size() const {
    const std::uint64_t last = std::min(end, std::max(file->size(), first));
    return last - std::min(first, last);
}

} // namespace rksignal

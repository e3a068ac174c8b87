#include "file/ByteWindow.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 18; // one call of read() for thousands of messages

} // namespace

/// Reads until there are `size` bytes, or the file ends.
void ByteWindow::fill(std::size_t size) {
    if (start > 0) {
        std::copy(buffer.get() + start, buffer.get() + end, buffer.get());
    }
    passed += start;
    end -= start;
    start = 0;
    while (end < size) {
        makeRoom(end + blockSize);
        const std::size_t count = file.read(reinterpret_cast<char*>(buffer.get() + end), blockSize);
        end += count;
        if (count == 0) {
            return;
        }
    }
}

/// The bytes behind `end` stay as they come: setting them to zero takes a good part of the time of reading.
void ByteWindow::makeRoom(std::size_t size) {
    if (size > capacity) {
        capacity = std::max(size, 2 * capacity);
        auto larger = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
        std::copy(buffer.get(), buffer.get() + end, larger.get());
        buffer = std::move(larger);
    }
}

bool ByteWindow::skip(std::uint64_t size) {
    while (size > end - start) {
        size -= end - start;
        start = end;
        fill(1);
        if (end == 0) {
            return size == 0;
        }
    }
    start += static_cast<std::size_t>(size);
    return true;
}

} // namespace rksignal

#include "file/ByteWindow.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 18; // one call of read() for thousands of messages

} // namespace

/// Reads until there are `size` bytes, or the file ends.
void ByteWindow::fill(std::size_t size) {
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(start));
    passed += start;
    start = 0;
    while (buffer.size() < size) {
        const std::size_t used = buffer.size();
        buffer.resize(used + blockSize);
        const std::size_t count = file.read(reinterpret_cast<char*>(buffer.data() + used), blockSize);
        buffer.resize(used + count);
        if (count == 0) {
            return;
        }
    }
}

bool ByteWindow::skip(std::uint64_t size) {
    while (size > buffer.size() - start) {
        size -= buffer.size() - start;
        start = buffer.size();
        fill(1);
        if (buffer.empty()) {
            return size == 0;
        }
    }
    start += static_cast<std::size_t>(size);
    return true;
}

} // namespace rksignal

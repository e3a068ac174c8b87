#include "trace/mdf/MdfValues.h"

#include <algorithm>
#include <cstring>

namespace rksignal {
namespace {

constexpr std::size_t keptBytes = 131072; // at least, of those that were there

} // namespace

/// Appends to what is kept; drops the oldest when that is twice as much as must be.
void MdfValues::append(Bytes more) {
    if (absent > 0) { // nothing of what lies before can be reached
        base += kept.size() + absent;
        kept.clear();
        absent = 0;
    } else if (kept.size() >= 2 * keptBytes) {
        const std::size_t dropped = kept.size() - keptBytes;
        kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(dropped));
        base += dropped;
    }
    kept.insert(kept.end(), more.begin(), more.end());
}

void MdfValues::add(std::uint32_t length, Bytes value) {
    std::uint8_t head[lengthBytes];
    std::memcpy(head, &length, lengthBytes);
    append(head);
    append(value.first(std::min(value.size(), maxLength)));
    absent = length - std::min<std::uint64_t>(value.size(), maxLength);
}

/// Whether the bytes are kept, after reading on if need be.
bool MdfValues::has(std::uint64_t offset, std::uint64_t count) {
    constexpr std::size_t step = 16384;
    std::uint8_t block[step];
    const auto isThere = [&] {
        const std::uint64_t end = base + kept.size();
        return offset <= end && end - offset >= count;
    };
    while (!isThere() && blocks) {
        const std::size_t got = blocks->read(block, step);
        if (got == 0) {
            break;
        }
        append({block, got});
    }
    return isThere();
}

MdfValues::Result MdfValues::find(std::uint64_t offset, Bytes& value) {
    if (offset < base) {
        return Result::Gone;
    }
    if (!has(offset, lengthBytes)) {
        return Result::Ahead;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, kept.data() + (offset - base), lengthBytes);
    const std::size_t count = std::min<std::size_t>(length, maxLength);
    if (!has(offset + lengthBytes, count)) {
        return Result::Ahead;
    }
    value = Bytes(kept).subspan(static_cast<std::size_t>(offset - base) + lengthBytes, count);
    return Result::Found;
}

} // namespace rksignal

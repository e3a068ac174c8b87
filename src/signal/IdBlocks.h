/// \file
/// Reporting the identifiers of a frame in blocks of a constant size.
///
/// A copy of as many identifiers as the frame has signals chooses its way by their number, which differs from
/// frame to frame, so that the processor mispredicts it. Whole blocks are a few stores each and mostly one or
/// two of them are enough; what a block holds beyond the frame's identifiers is taken off again.
#pragma once

#include <cstddef>
#include <vector>

namespace idblocks {

constexpr std::size_t blockSize = 4;

/// So many identifiers are read to report `count`.
constexpr std::size_t roundedUp(std::size_t count) {
    return (count + blockSize - 1) / blockSize * blockSize;
}

/// Appends to a vector that is known to have room. The compiler is told so in the words of the library of
/// C++, whose look for room goes away with it: of several such calls only the stores are left and one new
/// end.
[[gnu::always_inline]] inline void pushInRoom(std::vector<unsigned long>& ids, unsigned long id) {
    if (ids.data() + ids.size() == ids.data() + ids.capacity()) {
        __builtin_unreachable();
    }
    ids.push_back(id);
}

/// Makes `id` the only one of `ids`, if its memory has room for it. \return whether it has; if not, nothing
/// is done
[[gnu::always_inline]] inline bool reportOne(std::vector<unsigned long>& ids, unsigned long id) {
    if (ids.capacity() == 0) [[unlikely]] {
        return false;
    }
    ids.clear();
    pushInRoom(ids, id);
    return true;
}

/// Makes `count` identifiers those of `ids`, if its memory has room for whole blocks. \return whether it has;
/// if not, nothing is done. REQUIRES: `roundedUp(count)` may be read from `own` on.
[[gnu::always_inline]] inline bool reportTo(std::vector<unsigned long>& ids, const unsigned long* own,
                                            std::size_t count) {
    if (ids.capacity() < roundedUp(count)) [[unlikely]] {
        return false;
    }
    ids.clear();
    for (const unsigned long* block = own; block < own + count; block += blockSize) {
        pushInRoom(ids, block[0]);
        pushInRoom(ids, block[1]);
        pushInRoom(ids, block[2]);
        pushInRoom(ids, block[3]);
    }
    ids.erase(ids.begin() + static_cast<std::ptrdiff_t>(count), ids.end());
    return true;
}

} // namespace idblocks

/// \file
/// Reporting the identifiers of a frame in blocks of a constant size.
///
/// A copy of as many identifiers as the frame has signals chooses its way by their number, which differs from
/// frame to frame, so that the processor mispredicts it. Whole blocks are a few vector instructions each and
/// mostly one of them is enough; what a block holds beyond the frame's identifiers is taken off again.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

namespace idblocks {

using Block = std::array<unsigned long, 8>;

/// So many identifiers are read to report `count`.
constexpr std::size_t roundedUp(std::size_t count) {
    return (count + std::tuple_size_v<Block> - 1) / std::tuple_size_v<Block> * std::tuple_size_v<Block>;
}

/// Appends `count` identifiers to `ids`, which must be empty, if its memory has room for whole blocks.
/// \return whether it has; if not, `ids` stays empty. REQUIRES: `roundedUp(count)` may be read from `own` on.
[[gnu::flatten]] inline bool reportTo(std::vector<unsigned long>& ids, const unsigned long* own,
                                      std::size_t count) {
    for (std::size_t done = 0; done < count; done += std::tuple_size_v<Block>) {
        // Told in bytes, as the library of C++ compares them, the compiler sees that `insert` need not grow.
        const unsigned long* const end = ids.data() + ids.size();
        const auto room = static_cast<std::size_t>(ids.data() + ids.capacity() - end);
        if (room * sizeof(unsigned long) < sizeof(Block)) [[unlikely]] {
            ids.clear();
            return false;
        }
        Block block;
        std::memcpy(block.data(), own + done, sizeof block);
        ids.insert(ids.end(), block.begin(), block.end());
    }
    ids.erase(ids.end() - static_cast<std::ptrdiff_t>(roundedUp(count) - count), ids.end());
    return true;
}

} // namespace idblocks

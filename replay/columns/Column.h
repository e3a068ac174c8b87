/// \file
/// A column while it grows: cells of one width, and which of them are null.
#pragma once

#include "columns/ArrowData.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace rksignal {

/// Memory as Arrow advises it: aligned to 64 bytes. What grows is not initialised.
class AlignedBytes {
  public:
    std::byte* data() { return bytes.get(); }
    const std::byte* data() const { return bytes.get(); }
    std::size_t size() const { return count; }

    /// Makes room for at least `wanted` bytes, and keeps the first `used`.
    void grow(std::size_t wanted, std::size_t used) {
        AlignedBytes larger;
        larger.count = std::max<std::size_t>({wanted, 2 * count, 64});
        larger.bytes.reset(new (alignment) std::byte[larger.count]);
        if (used > 0) {
            std::memcpy(larger.data(), data(), used);
        }
        std::swap(*this, larger);
    }

  private:
    static constexpr std::align_val_t alignment{64};
    struct Deleter {
        void operator()(std::byte* memory) const { ::operator delete[](memory, alignment); }
    };

    std::unique_ptr<std::byte[], Deleter> bytes;
    std::size_t count = 0;
};

/// The cells of a column, row by row. A row that gets none is null; nulls cost nothing until there is one.
class Column {
  public:
    explicit Column(std::size_t width) : width(width) {}

    std::size_t cellBytes() const { return width; }
    std::size_t nullCount() const { return nulls; }

    /// REQUIRES: `row` is behind all that have a cell, and `Cell` as wide as the column.
    template <class Cell>
    void put(std::size_t row, Cell cell) {
        if (row != rows) {
            skipTo(row);
        }
        if ((row + 1) * sizeof(Cell) > cells.size()) [[unlikely]] {
            reserve(row + 1);
        }
        std::memcpy(cells.data() + row * sizeof(Cell), &cell, sizeof(Cell));
        if (nulls > 0) {
            markValid(row);
        }
        rows = row + 1;
    }

    /// Room for so many rows.
    void reserve(std::size_t count) {
        if (count * width > cells.size()) {
            cells.grow(count * width, rows * width);
        }
    }

    /// All rows before `row` that have no cell are null.
    void skipTo(std::size_t row);

    /// Gives the cells away and begins again. Both are as the Arrow format has them; `validity` is empty
    /// unless there are nulls. REQUIRES: skipTo() the number of rows.
    struct Content {
        AlignedBytes cells, validity;
        std::size_t nulls;
    };
    Content take();

  private:
    void markValid(std::size_t row);

    std::size_t width;
    std::size_t rows = 0; ///< that have a cell or are null
    std::size_t nulls = 0;
    AlignedBytes cells;
    AlignedBytes validity; ///< a bit a row, from the lowest one of each byte on; counts with nulls only
};

} // namespace rksignal

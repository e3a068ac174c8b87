/// \file
/// Rows of a grid that wait for values.
#pragma once

#include "grid/SignalGrid.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// A queue of rows, numbered from 0 on, that grows to what is needed. Allocates only while it grows.
class GridRows {
  public:
    struct Head {
        std::uint64_t timestamp;
        std::size_t waiting; ///< number of cells that wait for a later value
    };

    explicit GridRows(std::size_t columns) : columns(columns) {}

    bool empty() const { return first == next; }
    std::uint64_t begin() const { return first; } ///< number of the first row
    std::uint64_t end() const { return next; }    ///< number that the next row will have

    Head& head(std::uint64_t row) { return heads[row & mask]; }
    std::span<GridCell> cells(std::uint64_t row) {
        return std::span(values).subspan((row & mask) * columns, columns);
    }

    /// Adds a row with cells of any content. \return its number
    std::uint64_t push(std::uint64_t timestamp) {
        if (next - first == heads.size()) {
            grow();
        }
        head(next) = {timestamp, 0};
        return next++;
    }
    void pop() { ++first; }

  private:
    /// Twice as many; a power of two, so that a number gives the place.
    void grow() {
        GridRows larger(columns);
        const std::size_t capacity = std::max<std::size_t>(16, 2 * heads.size());
        larger.heads.resize(capacity);
        larger.values.resize(capacity * columns);
        larger.mask = capacity - 1;
        for (std::uint64_t row = first; row < next; ++row) {
            larger.head(row) = head(row);
            std::ranges::copy(cells(row), larger.cells(row).begin());
        }
        heads.swap(larger.heads);
        values.swap(larger.values);
        mask = larger.mask;
    }

    std::size_t columns;
    std::vector<Head> heads;
    std::vector<GridCell> values; ///< row by row
    std::uint64_t mask = 0;
    std::uint64_t first = 0;
    std::uint64_t next = 0;
};

} // namespace rksignal

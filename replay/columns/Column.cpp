#include "columns/Column.h"

namespace rksignal {
namespace {

std::size_t bitmapBytes(std::size_t rows) {
    return (rows + 7) / 8;
}

} // namespace

void Column::skipTo(std::size_t row) {
    if (row == rows) {
        return;
    }
    reserve(row);
    std::memset(cells.data() + rows * width, 0, (row - rows) * width);
    if (bitmapBytes(row) > validity.size()) {
        validity.grow(bitmapBytes(row), nulls > 0 ? bitmapBytes(rows) : 0);
    }
    auto* const bits = reinterpret_cast<std::uint8_t*>(validity.data());
    if (nulls == 0) {
        std::memset(bits, 0xFF, bitmapBytes(rows));
    }
    std::size_t null = rows;
    for (; null < row && null % 8 != 0; ++null) {
        bits[null / 8] &= static_cast<std::uint8_t>(~(1U << null % 8));
    }
    std::memset(bits + bitmapBytes(null), 0, bitmapBytes(row) - bitmapBytes(null));
    nulls += row - rows;
    rows = row;
}

/// The last byte of the bits may not be begun yet.
void Column::markValid(std::size_t row) {
    if (bitmapBytes(row + 1) > validity.size()) {
        validity.grow(bitmapBytes(row + 1), bitmapBytes(row));
    }
    auto* const bits = reinterpret_cast<std::uint8_t*>(validity.data());
    const std::size_t byte = row / 8;
    const auto bit = static_cast<std::uint8_t>(1U << row % 8);
    bits[byte] = row % 8 == 0 ? bit : static_cast<std::uint8_t>(bits[byte] | bit);
}

Column::Content Column::take() {
    Content content{std::move(cells), std::move(validity), nulls};
    cells = AlignedBytes();
    validity = AlignedBytes();
    if (nulls == 0) {
        content.validity = AlignedBytes();
    }
    rows = nulls = 0;
    return content;
}

} // namespace rksignal

/// \file
/// A picture of dots in the characters of braille: two by four of them in a cell of a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

class BrailleCanvas {
  public:
    BrailleCanvas(std::size_t columns, std::size_t rows) : columns(columns), cells(columns * rows) {}

    std::size_t width() const { return columns * 2; }                 ///< in dots
    std::size_t height() const { return cells.size() / columns * 4; } ///< in dots

    struct Dot {
        std::size_t x; ///< from the left, less than width()
        std::size_t y; ///< from the top, less than height()
    };
    /// `ink` is anything but 0; a cell has that of its last dot.
    void set(const Dot& dot, std::uint8_t ink);
    /// All dots from one to the other one, both included.
    void draw(const Dot& from, const Dot& to, std::uint8_t ink);

    /// 0: the cell is empty.
    std::uint8_t ink(std::size_t column, std::size_t row) const { return cell(column, row).ink; }
    /// The character of a cell: U+2800 to U+28FF.
    std::string braille(std::size_t column, std::size_t row) const;
    /// The same where there is only ASCII: `'` for dots in the upper half of the cell, `.` in the lower one,
    /// `:`
    char ascii(std::size_t column, std::size_t row) const;

  private:
    struct Cell {
        std::uint8_t dots = 0; ///< of U+2800
        std::uint8_t ink = 0;
    };

    const Cell& cell(std::size_t column, std::size_t row) const { return cells[row * columns + column]; }

    std::size_t columns;
    std::vector<Cell> cells;
};

} // namespace rksignal

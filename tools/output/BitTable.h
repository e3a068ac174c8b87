/// \file
/// The bits of a payload as a table: a row a byte, a column a bit, from 7 down to 0.
#pragma once

#include "definition/Definition.h"
#include "output/TerminalStyle.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace rksignal {

/// A field of a payload. Bits are numbered as in `baseSignalDef_t`.
struct BitRange {
    std::uint16_t startBit;
    std::uint8_t bits;
    bool bigEndian;

    /// Where a signal lies, of several positions the first one.
    static BitRange of(const SignalDefinition& signal);
    /// The numbers of the bits, from the least significant one on.
    std::vector<std::size_t> numbers() const;
};

/// The table. What a cell holds is up to the client; cells that nobody has filled are empty.
class BitTable {
  public:
    /// \param length of the payload in bytes. Rows are drawn to there, and further to the last cell.
    BitTable(std::size_t length, const TerminalStyle& style) : length(length), style(style) {}

    /// Adds to the text of the cell of a bit, behind a `/` if there is one. Cells that are next to each other
    /// and have the same owner are not separated.
    void add(std::size_t bit, const std::string& text, std::size_t owner);
    /// Draws the cell in reverse video, or where there are no colours in brackets.
    void mark(std::size_t bit);

    /// Several lines. Runs of empty rows are one line. Bytes beyond the length stand behind a rule.
    std::string text() const;

  private:
    struct Cell {
        std::string text;
        std::size_t owner = 0; ///< 0: none
        bool isShared = false;
        bool isMarked = false;
    };

    std::size_t rows() const;
    bool isEmpty(std::size_t row) const;
    const Cell& cell(std::size_t row, std::size_t column) const;
    std::size_t cellWidth() const;
    std::string cellText(const Cell& cell, std::size_t width) const;
    std::string rowText(std::size_t row, std::size_t width) const;
    std::string rule(const char* left, const char* right, std::size_t width) const;

    std::size_t length;
    TerminalStyle style;
    std::map<std::size_t, Cell> cells; ///< by bit
};

} // namespace rksignal

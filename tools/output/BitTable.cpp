#include "output/BitTable.h"

#include "signal/BitField.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t byteBits = 8;
constexpr std::size_t indent = 6; ///< of the table, for the numbers of bytes

std::string rightAligned(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

} // namespace

BitRange BitRange::of(const SignalDefinition& signal) {
    const baseSignalDef_t& common = signal.common();
    BitRange range{common.startbit, common.bits, common.endian};
    if (const auto* const flexRay = std::get_if<flexRaySignalDef_t>(&signal.record)) {
        range.startBit = flexRay->positions.empty() ? range.startBit : flexRay->positions.front().startBit;
    } else if (const auto* const ethernet = std::get_if<ethernetSignalDef_t>(&signal.record)) {
        range.startBit = ethernet->positions.empty() ? range.startBit : ethernet->positions.front().startBit;
    }
    return range;
}

std::vector<std::size_t> BitRange::numbers() const {
    std::vector<std::size_t> all(bits);
    const int last = bitfield::lastBit(startBit, bits, bigEndian); // of a big-endian field, mirrored
    for (int i = 0; i < bits; ++i) {
        const int bit = bigEndian ? bitfield::mirroredInByte(last - i) : startBit + i;
        all[static_cast<std::size_t>(i)] = static_cast<std::size_t>(bit);
    }
    return all;
}

void BitTable::add(std::size_t bit, const std::string& text, std::size_t owner) {
    Cell& cell = cells[bit];
    cell.isShared = cell.owner != 0;
    cell.text += (cell.isShared ? "/" : "") + text;
    cell.owner = owner;
}

void BitTable::mark(std::size_t bit) {
    cells[bit].isMarked = true;
}

std::size_t BitTable::rows() const {
    return cells.empty() ? length : std::max(length, cells.rbegin()->first / byteBits + 1);
}

bool BitTable::isEmpty(std::size_t row) const {
    const auto first = cells.lower_bound(row * byteBits);
    return first == cells.end() || first->first >= (row + 1) * byteBits;
}

/// Columns count from bit 7 on.
const BitTable::Cell& BitTable::cell(std::size_t row, std::size_t column) const {
    static const Cell none;
    const auto entry = cells.find(row * byteBits + (byteBits - 1 - column));
    return entry != cells.end() ? entry->second : none;
}

std::size_t BitTable::cellWidth() const {
    std::size_t width = 3;
    for (const auto& [bit, cell] : cells) {
        width = std::max(width, cell.text.size() + (cell.isMarked && !style.colours ? 2 : 0));
    }
    return width;
}

std::string BitTable::cellText(const Cell& cell, std::size_t width) const {
    if (!cell.isMarked) {
        return rightAligned(cell.text, width);
    }
    return style.colours ? "\033[7m" + rightAligned(cell.text, width) + "\033[0m"
                         : rightAligned("[" + cell.text + "]", width);
}

std::string BitTable::rowText(std::size_t row, std::size_t width) const {
    const std::string line = style.boxes ? "\u2502" : "|";
    std::string text = rightAligned(std::to_string(row), indent - 1) + " " + line;
    for (std::size_t column = 0; column < byteBits; ++column) {
        const Cell& here = cell(row, column);
        const bool isLast = column + 1 == byteBits;
        const bool joins = !isLast && cell(row, column + 1).owner == here.owner && !here.isShared;
        text += cellText(here, width) + (joins ? " " : line);
    }
    return text + "\n";
}

/// With corners, or the ends of a line between rows.
std::string BitTable::rule(const char* left, const char* right, std::size_t width) const {
    const std::size_t cellsWidth = byteBits * (width + 1) - 1;
    std::string text(indent, ' ');
    text += style.boxes ? left : "+";
    for (std::size_t i = 0; i < cellsWidth; ++i) {
        text += style.boxes ? "\u2500" : "-";
    }
    return text + (style.boxes ? right : "+") + "\n";
}

std::string BitTable::text() const {
    const std::size_t width = cellWidth();
    std::string text = rightAligned("byte", indent - 1) + " ";
    for (std::size_t column = 0; column < byteBits; ++column) {
        text += " " + rightAligned(std::to_string(byteBits - 1 - column), width);
    }
    text += "\n" + rule("\u250C", "\u2510", width);
    for (std::size_t row = 0; row < rows(); ++row) {
        if (row == length && row > 0) {
            text += rule("\u251C", "\u2524", width);
        }
        const bool isInRun = isEmpty(row) && row > 0 && isEmpty(row - 1) && row != length;
        const bool endsRun = row + 1 == rows() || !isEmpty(row + 1) || row + 1 == length;
        if (!isInRun) {
            text += rowText(row, width);
        } else if (endsRun) {
            text += rightAligned("...", indent - 1) + "\n" + rowText(row, width);
        }
    }
    return text + rule("\u2514", "\u2518", width);
}

} // namespace rksignal

#include "plot/BrailleCanvas.h"

#include <algorithm>
#include <array>

namespace rksignal {

void BrailleCanvas::set(const Dot& dot, std::uint8_t ink) {
    // the bits of Unicode's block "Braille Patterns": by row, then by column
    constexpr std::array<std::array<std::uint8_t, 2>, 4> bits = {{{1, 8}, {2, 16}, {4, 32}, {64, 128}}};
    Cell& cell = cells[dot.y / 4 * columns + dot.x / 2];
    cell.dots = static_cast<std::uint8_t>(cell.dots | bits[dot.y % 4][dot.x % 2]);
    cell.ink = ink;
}

void BrailleCanvas::draw(const Dot& from, const Dot& to, std::uint8_t ink) {
    const auto distance = [](std::size_t a, std::size_t b) { return a < b ? b - a : a - b; };
    const std::size_t steps = std::max(distance(from.x, to.x), distance(from.y, to.y));
    // between both by the share i / steps, rounded
    const auto between = [steps](std::size_t a, std::size_t b, std::size_t i) {
        return steps == 0 ? a : (a * (steps - i) * 2 + b * i * 2 + steps) / (steps * 2);
    };
    for (std::size_t i = 0; i <= steps; ++i) {
        set({between(from.x, to.x, i), between(from.y, to.y, i)}, ink);
    }
}

std::string BrailleCanvas::braille(std::size_t column, std::size_t row) const {
    const unsigned dots = cell(column, row).dots;
    return {'\xE2', static_cast<char>(0xA0 | dots >> 6), static_cast<char>(0x80 | (dots & 0x3F))};
}

char BrailleCanvas::ascii(std::size_t column, std::size_t row) const {
    constexpr unsigned upper = 1 | 2 | 8 | 16;
    const unsigned dots = cell(column, row).dots;
    const bool isUpper = (dots & upper) != 0;
    const bool isLower = (dots & ~upper) != 0;
    return isUpper && isLower ? ':' : isUpper ? '\'' : isLower ? '.' : ' ';
}

} // namespace rksignal

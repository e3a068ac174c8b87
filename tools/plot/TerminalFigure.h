/// \file
/// Draws figures with the characters of a terminal.
#pragma once

#include "plot/Figure.h"

#include <string>

namespace rksignal {

struct TerminalSize {
    unsigned columns = 80;
    unsigned rows = 6; ///< of each panel of curves
};

/// What the terminal can show.
struct TerminalMeans {
    bool unicode = true;  ///< else ASCII
    bool colours = false; ///< ECMA-48
};

constexpr unsigned leastTerminalColumns = 24;

/// The lines of the drawing, none wider than `size.columns`. REQUIRES: the figure has a panel; `size` is at
/// least `leastTerminalColumns` wide and a row high.
std::string terminalDrawing(const Figure& figure, const TerminalSize& size, const TerminalMeans& means);

/// The dots, and so the columns that curves have to be reduced to.
std::size_t terminalDots(const TerminalSize& size);

} // namespace rksignal

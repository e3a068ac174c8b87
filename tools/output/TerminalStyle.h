/// \file
/// What may be drawn on the output: lines of boxes, marks in colour.
#pragma once

namespace rksignal {

struct TerminalStyle {
    bool boxes = false;   ///< box lines of Unicode; otherwise those of ASCII
    bool colours = false; ///< ECMA-48 sequences

    /// Boxes on a terminal whose locale is one of UTF-8. Colours on a terminal, unless `NO_COLOR` is set or
    /// `TERM` is `dumb`.
    static TerminalStyle of(int descriptor);
};

} // namespace rksignal

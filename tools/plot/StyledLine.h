/// \file
/// A line of a terminal, in colours or without.
#pragma once

#include "output/TextWidth.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace rksignal {

class StyledLine {
  public:
    explicit StyledLine(bool hasColours) : hasColours(hasColours) {}

    /// `style` holds the parameters of ECMA-48's SGR, such as `1` or `7;32`; empty: as usual. What follows in
    /// the same style is joined.
    void append(std::string_view content, std::string_view style = {}) {
        if (hasColours && style != current) {
            text.append("\033[0").append(style.empty() ? "" : ";").append(style).append("m");
            current = style;
        }
        text += content;
        cells += textWidth(content);
    }
    void fillTo(std::size_t column) { append(std::string(column > cells ? column - cells : 0, ' ')); }
    std::size_t width() const { return cells; } ///< so far

    /// With its end.
    std::string finish() {
        append("");
        text.erase(text.find_last_not_of(' ') + 1);
        return text + '\n';
    }

  private:
    bool hasColours;
    std::string text;
    std::string current; ///< style
    std::size_t cells = 0;
};

} // namespace rksignal

/// \file
/// The colours of SVG pictures.
#pragma once

#include <array>
#include <string>

namespace rksignal {

/// Colours that the colour-blind can tell apart: those of Okabe and Ito ("Color Universal Design", 2008), in
/// an order in which neighbours also differ in grey.
struct SvgTheme {
    const char* paper;
    const char* text;
    const char* muted; ///< text of less weight
    const char* grid;
    const char* frame;
    const char* gap;                  ///< where there is no value
    const char* several;              ///< bands of states that are too short to be told apart
    std::array<const char*, 7> lines; ///< curves, and what marks conditions
    std::array<const char*, 8> bands; ///< states; text can be read on them
};

extern const SvgTheme lightTheme;
extern const SvgTheme darkTheme;

/// The dashes of the curves of a panel, beginning with the line.
constexpr std::array<const char*, 4> lineDashes = {"", "7 3", "2 3", "9 3 2 3"};

/// The rules of CSS for the classes that SvgFigure uses.
std::string styleSheet(const SvgTheme& theme);

} // namespace rksignal

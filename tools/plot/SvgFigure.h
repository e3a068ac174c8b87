/// \file
/// Draws figures as SVG 1.1 pictures: text as text, no scripts, nothing from elsewhere.
#pragma once

#include "plot/Figure.h"
#include "plot/SvgTheme.h"

#include <string>
#include <vector>

namespace rksignal {

/// Pixels are those of CSS, 96 of which are an inch.
struct SvgSize {
    unsigned width = 1000;
    unsigned height = 0; ///< 0: as the panels need
};

constexpr unsigned leastSvgWidth = 240;

struct SvgPicture {
    std::string text;
    SvgSize size; ///< as it has become
};

/// The picture of all panels. Where `size.height` is less than they need, they are as low as can be, and the
/// picture is higher. The same figure gives the same bytes. REQUIRES: the figure has a panel.
SvgPicture svgOf(const Figure& figure, const SvgSize& size, const SvgTheme& theme);

/// The same on pages of `size`, whose height is not 0, each with the axis of time and the conditions.
std::vector<SvgPicture> svgPages(const Figure& figure, const SvgSize& size, const SvgTheme& theme);

} // namespace rksignal

/// \file
/// Where the parts of an SVG picture lie, in pixels.
#pragma once

#include "plot/Figure.h"
#include "plot/SvgFigure.h"
#include "plot/TimeAxis.h"
#include "plot/ValueAxis.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace rksignal {

struct SvgLayout {
    /// An entry of the legend of a panel with several tracks.
    struct Entry {
        double x;
        double y; ///< of the text's base line
    };
    struct Panel {
        const FigurePanel* content;
        double headline; ///< base line of the first text
        double top;      ///< of what is below the texts
        double height;   ///< of that
        ValueAxis axis;
        std::vector<Entry> legend;
    };

    static constexpr double textSize = 11;
    static constexpr double lineHeight = 16;  ///< of a line of text
    static constexpr double sampleWidth = 26; ///< of a line in a legend, and the room behind it
    static constexpr double laneHeight = 28;
    static constexpr double laneBand = 7; ///< of that, below the name

    SvgLayout(const Figure& figure, std::span<const FigurePanel> shown, const SvgSize& size);

    double x(std::uint64_t at) const { return left + time.position(at) * (right - left); }
    static double y(const Panel& panel, double value) {
        return panel.top + (1 - panel.axis.position(value)) * panel.height;
    }
    /// About how wide a text is; fonts differ.
    static double widthOf(std::string_view text);

    double left;  ///< of the panels
    double right; ///< of the panels
    double top;   ///< of the first lane or panel
    double panelsTop;
    double bottom; ///< of the last panel
    double height; ///< of the picture
    TimeAxis time;
    std::vector<Panel> panels;

  private:
    void placePanels(std::span<const FigurePanel> shown, const SvgSize& size);
    void placeLegend(Panel& panel) const;
};

} // namespace rksignal

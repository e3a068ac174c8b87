#include "plot/SvgLayout.h"

#include "output/TextWidth.h"

#include <algorithm>
#include <cmath>

namespace rksignal {
namespace {

constexpr double headHeight = 28;
constexpr double footHeight = 40; // texts of the ticks and what they mean
constexpr double panelGap = 10;
constexpr double rightMargin = 20;
constexpr double leastPanel = 44;

/// What the panel takes if nothing is said of it.
double usualHeight(const FigurePanel& panel) {
    constexpr double bands = 20;
    constexpr double levels = 56;
    constexpr double curves = 112;
    if (panel.isStates()) {
        return bands;
    }
    if (panel.isConstant()) {
        return leastPanel - 12;
    }
    return panel.isWhole() && panel.greatest() - panel.least() <= 4 ? levels : curves;
}

/// Whether it gains by more room.
bool isElastic(const FigurePanel& panel) {
    return !panel.isStates() && !panel.isConstant();
}

double heightFor(const FigurePanel& panel, double factor) {
    const double usual = usualHeight(panel);
    return isElastic(panel) ? std::max(leastPanel, usual * factor) : usual;
}

} // namespace

double SvgLayout::widthOf(std::string_view text) {
    constexpr double cell = 0.6; // of the size, in wide fonts
    return static_cast<double>(textWidth(text)) * cell * textSize;
}

SvgLayout::SvgLayout(const Figure& figure, std::span<const FigurePanel> shown, const SvgSize& size) {
    constexpr double leastLeft = 44;
    left = leastLeft;
    right = size.width - rightMargin;
    top = headHeight;
    panelsTop = top + laneHeight * static_cast<double>(figure.lanes.size());
    placePanels(shown, size);
    for (const Panel& panel : panels) {
        for (const ValueTick& tick : panel.axis.ticks) {
            left = std::max(left, widthOf(tick.text) + 14);
        }
    }
    left = std::min(left, size.width / 3.0);
    const double tickRoom = figure.times.style == TimeStyle::Epoch ? 130 : 84;
    time = timeAxis(figure.from, figure.to, figure.times,
                    std::max(2U, static_cast<unsigned>((right - left) / tickRoom)));
}

void SvgLayout::placePanels(std::span<const FigurePanel> shown, const SvgSize& size) {
    for (const FigurePanel& content : shown) {
        panels.push_back({&content, 0, 0, 0, {}, {}});
        placeLegend(panels.back());
    }
    double fixed = panelsTop + footHeight;
    double elastic = 0;
    for (const Panel& panel : panels) {
        const double texts = panel.legend.empty() ? lineHeight : panel.legend.back().y + lineHeight;
        fixed += texts + 4 + panelGap + (isElastic(*panel.content) ? 0 : usualHeight(*panel.content));
        elastic += isElastic(*panel.content) ? usualHeight(*panel.content) : 0;
    }
    const double factor = size.height == 0 || elastic == 0 ? 1 : (size.height - fixed) / elastic;
    double y = panelsTop;
    for (Panel& panel : panels) {
        const double texts = panel.legend.empty() ? lineHeight : panel.legend.back().y + lineHeight;
        panel.headline = y + lineHeight - 4;
        panel.top = y + texts + 4;
        panel.height = heightFor(*panel.content, factor);
        y = panel.top + panel.height + panelGap;
        if (!panel.content->isStates()) {
            constexpr double tickRoom = 24;
            const auto ticks = static_cast<unsigned>(std::max(2.0, panel.height / tickRoom));
            panel.axis =
                valueAxis(panel.content->least(), panel.content->greatest(), ticks, panel.content->isWhole());
        }
    }
    bottom = y - panelGap;
    height = std::max(std::ceil(bottom + footHeight), static_cast<double>(size.height));
}

/// Relative to the headline and to `left`, which is not known yet.
void SvgLayout::placeLegend(Panel& panel) const {
    if (panel.content->tracks.size() == 1) {
        return;
    }
    constexpr double between = 14;
    double x = 0;
    double y = 0;
    for (const FigureTrack& track : panel.content->tracks) {
        const double width = sampleWidth + widthOf(track.name) + between;
        if (x > 0 && left + x + width > right) {
            x = 0;
            y += lineHeight;
        }
        panel.legend.push_back({x, y});
        x += width;
    }
}

} // namespace rksignal

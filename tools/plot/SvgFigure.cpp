#include "plot/SvgFigure.h"

#include "plot/SvgLayout.h"
#include "plot/SvgText.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace rksignal {
namespace {

/// Writes one picture.
class SvgDrawing {
    static constexpr double swatch = 9; ///< width and height of a colour in a legend

  public:
    SvgDrawing(const Figure& figure, std::span<const FigurePanel> shown, const SvgSize& size,
               const SvgTheme& theme)
        : figure(figure), width(size.width), layout(figure, shown, size), theme(theme) {}

    SvgPicture draw() {
        head();
        rect("paper", 0, 0, width, layout.height);
        text(layout.left, 18, figure.title, "n");
        lanes();
        for (const SvgLayout::Panel& panel : layout.panels) {
            drawPanel(panel);
        }
        timeTexts();
        out += "</svg>\n";
        return {std::move(out), {width, static_cast<unsigned>(layout.height)}};
    }

  private:
    void head() {
        out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) + "\" height=\"";
        appendPixels(out, layout.height);
        out += "\" viewBox=\"0 0 " + std::to_string(width) + " ";
        appendPixels(out, layout.height);
        out += "\" role=\"img\" font-family=\"sans-serif\" font-size=\"11\">\n<title>";
        appendXml(out, figure.title);
        out += "</title>\n<desc>";
        appendXml(out, description());
        out += "</desc>\n<style>.paper{fill:" + std::string(theme.paper) + "}" + styleSheet(theme) +
               "</style>\n";
    }

    /// Says to whom does not see the picture what it shows.
    std::string description() const {
        std::string description = "From " + timeText(figure.from, figure.times) + " to " +
                                  timeText(figure.to, figure.times) + ", " + layout.time.title + ":";
        for (const SvgLayout::Panel& panel : layout.panels) {
            for (const FigureTrack& track : panel.content->tracks) {
                description += " " + track.name;
                if (track.kind == CurveKind::States) {
                    description += std::string(",");
                    for (const FigureState& state : track.states) {
                        description += " " + state.text;
                    }
                } else {
                    description += ", " + rangeText(track) + (track.unit.empty() ? "" : " " + track.unit);
                }
                description += ";";
            }
        }
        description.back() = '.';
        return description;
    }

    static std::string rangeText(const FigureTrack& track) {
        const std::string least = valueText(track.least);
        return track.least == track.greatest ? least : least + " to " + valueText(track.greatest);
    }

    void attribute(const char* name, double length) {
        out.append(" ").append(name).append("=\"");
        appendPixels(out, length);
        out += '"';
    }

    void rect(const std::string& name, double x, double y, double w, double h) {
        out += "<rect class=\"" + name + "\"";
        attribute("x", x);
        attribute("y", y);
        attribute("width", w);
        attribute("height", h);
        out += "/>\n";
    }

    /// The stretch of time from top to bottom, at least `least` wide.
    void shade(const std::string& name, const TimeSpan& span, double y, double h, double least) {
        const double begin = layout.x(span.from);
        const double end = layout.x(span.to);
        if (end - begin >= least) {
            rect(name, begin, y, end - begin, h);
        } else if (least >= 1) {
            rect(name, std::max(layout.left, (begin + end - least) / 2), y, least, h);
        }
    }

    void path(const std::string& name, SvgPath& path) {
        if (!path.isEmpty()) {
            out += "<path class=\"" + name + "\" d=\"" + path.finish() + "\"/>\n";
        }
    }

    void text(double x, double y, std::string_view content, const std::string& name,
              const char* anchor = nullptr) {
        out += "<text";
        attribute("x", x);
        attribute("y", y);
        if (!name.empty()) {
            out += " class=\"" + name + "\"";
        }
        if (anchor != nullptr) {
            out.append(" text-anchor=\"").append(anchor).append("\"");
        }
        out += ">";
        appendXml(out, content);
        out += "</text>\n";
    }

    static std::string laneColour(std::size_t lane) {
        constexpr std::size_t colours = std::tuple_size_v<decltype(SvgTheme::lines)>;
        return std::to_string((lane + 1) % colours); // the first curves have the first one
    }

    void lanes() {
        double y = layout.top;
        for (std::size_t i = 0; i < figure.lanes.size(); ++i) {
            const FigureLane& lane = figure.lanes[i];
            const double band = y + SvgLayout::lineHeight;
            text(layout.left, y + SvgLayout::lineHeight - 4, lane.name, "");
            text(layout.right, y + SvgLayout::lineHeight - 4, std::to_string(lane.count) + "×", "m", "end");
            rect("gap", layout.left, band, layout.right - layout.left, SvgLayout::laneBand);
            for (const TimeSpan& span : lane.spans) {
                shade("f" + laneColour(i), span, band, SvgLayout::laneBand, 1.5);
            }
            y += SvgLayout::laneHeight;
        }
    }

    /// The conditions in a panel.
    void marks(const SvgLayout::Panel& panel) {
        for (std::size_t i = 0; i < figure.lanes.size(); ++i) {
            const std::vector<TimeSpan>& spans = figure.lanes[i].spans;
            if (spans.size() > mostMarkedSpans) {
                continue;
            }
            SvgPath begins;
            for (const TimeSpan& span : spans) {
                if (!panel.content->isStates()) { // bands have colours of their own
                    shade("when f" + laneColour(i), span, panel.top, panel.height, 0.5);
                }
                begins.moveTo(layout.x(span.from), panel.top);
                begins.lineTo(layout.x(span.from), panel.top + panel.height);
            }
            path("when c" + laneColour(i), begins);
        }
    }

    void drawPanel(const SvgLayout::Panel& panel) {
        const double w = layout.right - layout.left;
        for (const TimeSpan& gap : figure.gaps) {
            shade("gap", gap, panel.top, panel.height, 0.5);
        }
        if (panel.content->tracks.size() == 1) {
            for (const TimeSpan& gap : breaksOf(panel.content->tracks.front(), figure.to)) {
                shade("gap", gap, panel.top, panel.height, 0.5);
            }
        }
        if (panel.content->isStates()) {
            bands(panel);
        } else {
            grid(panel);
            marks(panel);
            for (std::size_t i = 0; i < panel.content->tracks.size(); ++i) {
                curve(panel, i);
            }
        }
        rect("frame", layout.left, panel.top, w, panel.height);
        captions(panel);
    }

    void grid(const SvgLayout::Panel& panel) {
        SvgPath lines;
        for (const TimeTick& tick : layout.time.ticks) {
            lines.moveTo(layout.x(tick.time), panel.top);
            lines.lineTo(layout.x(tick.time), panel.top + panel.height);
        }
        for (const ValueTick& tick : panel.axis.ticks) {
            const double y = SvgLayout::y(panel, tick.value);
            lines.moveTo(layout.left, y);
            lines.lineTo(layout.right, y);
        }
        path("grid", lines);
        for (const ValueTick& tick : panel.axis.ticks) {
            text(layout.left - 6, SvgLayout::y(panel, tick.value) + 4, tick.text, "m", "end");
        }
    }

    void curve(const SvgLayout::Panel& panel, std::size_t number) {
        const FigureTrack& track = panel.content->tracks[number];
        SvgPath line;
        bool isOpen = false;
        double y = 0;
        for (const CurvePoint& point : track.points) {
            const double x = layout.x(point.time);
            const bool isHeld = track.kind == CurveKind::Step && isOpen;
            if (std::isnan(point.value)) {
                if (isHeld) {
                    line.lineTo(x, y);
                }
                isOpen = false;
                continue;
            }
            if (isHeld) {
                line.lineTo(x, y);
            }
            y = SvgLayout::y(panel, point.value);
            if (!isOpen) {
                line.moveTo(x, y);
            }
            line.lineTo(x, y);
            isOpen = true;
        }
        path(lineClass(number), line);
    }

    std::string lineClass(std::size_t number) const {
        const std::size_t dash = number % lineDashes.size();
        return "line c" + std::to_string(number % theme.lines.size()) +
               (dash == 0 ? "" : " d" + std::to_string(dash));
    }

    static std::string bandClass(std::size_t state) {
        constexpr std::size_t colours = std::tuple_size_v<decltype(SvgTheme::bands)>;
        return state == severalStates ? "several" : "b" + std::to_string(state % colours);
    }

    void bands(const SvgLayout::Panel& panel) {
        const FigureTrack& track = panel.content->tracks.front();
        const double pixels = layout.right - layout.left;
        const auto pixel = static_cast<std::uint64_t>(static_cast<double>(figure.to - figure.from) / pixels);
        const std::vector<StateBand> all = stateBands(track, figure.to, pixel);
        SvgPath edges;
        for (const bool isShort : {false, true}) { // over their neighbours
            for (const StateBand& band : all) {
                if ((band.to - band.from < pixel) == isShort) {
                    shade(bandClass(band.state), {band.from, band.to}, panel.top, panel.height, 1);
                }
            }
        }
        for (const StateBand& band : all) {
            if (band.from > figure.from && band.to - band.from > 3 * pixel) {
                edges.moveTo(layout.x(band.from), panel.top);
                edges.lineTo(layout.x(band.from), panel.top + panel.height);
            }
        }
        path("frame", edges);
        marks(panel);
        for (const StateBand& band : all) {
            bandText(panel, track, band);
        }
    }

    void bandText(const SvgLayout::Panel& panel, const FigureTrack& track, const StateBand& band) {
        const double begin = layout.x(band.from);
        const double room = layout.x(band.to) - begin;
        if (band.state != severalStates && SvgLayout::widthOf(track.states[band.state].text) + 4 < room) {
            text(begin + room / 2, panel.top + panel.height / 2 + 4, track.states[band.state].text, "",
                 "middle");
        }
    }

    void captions(const SvgLayout::Panel& panel) {
        if (!panel.legend.empty()) {
            legend(panel);
            return;
        }
        const FigureTrack& track = panel.content->tracks.front();
        text(layout.left, panel.headline, track.name, "");
        if (track.kind == CurveKind::States) {
            stateLegend(panel, track);
            return;
        }
        const std::string right = rangeText(track) + (track.unit.empty() ? "" : " " + track.unit);
        text(layout.right, panel.headline, right, "m", "end");
    }

    static double swatchedWidth(const std::string& content) {
        return swatch + 4 + SvgLayout::widthOf(content) + 10;
    }

    /// The states, on the right, as many as there is room for.
    void stateLegend(const SvgLayout::Panel& panel, const FigureTrack& track) {
        constexpr double ellipsis = 14;
        double room = layout.right - layout.left - SvgLayout::widthOf(track.name) - 2 * ellipsis;
        double x = layout.right;
        std::size_t shown = 0;
        while (shown < track.states.size() && swatchedWidth(track.states[shown].text) <= room) {
            x -= swatchedWidth(track.states[shown].text);
            room -= swatchedWidth(track.states[shown].text);
            ++shown;
        }
        if (shown < track.states.size()) {
            text(layout.right, panel.headline, "…", "m", "end");
            x -= ellipsis;
        }
        for (std::size_t i = 0; i < shown; ++i) {
            rect(bandClass(i), x, panel.headline - swatch + 1, swatch, swatch);
            text(x + swatch + 4, panel.headline, track.states[i].text, "m");
            x += swatchedWidth(track.states[i].text);
        }
    }

    void legend(const SvgLayout::Panel& panel) {
        const std::vector<FigureTrack>& tracks = panel.content->tracks;
        for (std::size_t i = 0; i < tracks.size(); ++i) {
            const double x = layout.left + panel.legend[i].x;
            const double y = panel.headline + panel.legend[i].y;
            SvgPath sample;
            sample.moveTo(x, y - 4);
            sample.lineTo(x + SvgLayout::sampleWidth - 6, y - 4);
            path(lineClass(i), sample);
            text(x + SvgLayout::sampleWidth, y, tracks[i].name, "");
        }
        text(layout.right, panel.headline, tracks.front().unit, "m", "end");
    }

    void timeTexts() {
        for (const TimeTick& tick : layout.time.ticks) {
            const double half = SvgLayout::widthOf(tick.text) / 2;
            const double x = std::min(layout.x(tick.time), width - half);
            text(x, layout.bottom + 15, tick.text, "m", "middle");
        }
        text((layout.left + layout.right) / 2, layout.bottom + 31, layout.time.title, "m", "middle");
    }

    const Figure& figure;
    unsigned width;
    SvgLayout layout;
    const SvgTheme& theme;
    std::string out;
};

} // namespace

SvgPicture svgOf(const Figure& figure, const SvgSize& size, const SvgTheme& theme) {
    return SvgDrawing(figure, figure.panels, size, theme).draw();
}

std::vector<SvgPicture> svgPages(const Figure& figure, const SvgSize& size, const SvgTheme& theme) {
    constexpr double squeezed = 1.15; // by more, curves are hard to read
    const auto fits = [&](std::span<const FigurePanel> panels) {
        return SvgLayout(figure, panels, {size.width, 0}).height <= size.height * squeezed &&
               SvgLayout(figure, panels, size).height <= size.height;
    };
    std::vector<SvgPicture> pages;
    std::span<const FigurePanel> rest = figure.panels;
    while (!rest.empty()) {
        std::size_t count = 1;
        while (count < rest.size() && fits(rest.first(count + 1))) {
            ++count;
        }
        pages.push_back(SvgDrawing(figure, rest.first(count), size, theme).draw());
        rest = rest.subspan(count);
    }
    return pages;
}

} // namespace rksignal

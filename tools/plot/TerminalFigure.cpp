#include "plot/TerminalFigure.h"

#include "plot/BrailleCanvas.h"
#include "plot/StyledLine.h"
#include "plot/TimeAxis.h"
#include "plot/ValueAxis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string_view>
#include <vector>

namespace rksignal {
namespace {

constexpr std::array<std::string_view, 6> inks = {"36", "33", "32", "35", "34", "31"};
constexpr std::string_view faint = "90";
constexpr std::string_view bold = "1";

std::string_view inkOf(std::size_t number) {
    return inks[number % inks.size()];
}

/// Of conditions: other ones than those of the first curves.
std::string_view laneInk(std::size_t lane) {
    return inks[inks.size() - 1 - lane % inks.size()];
}

struct Glyphs {
    std::string_view tick, edge, corner, bar, below, mark, span, none, several, begin, fill, sample, until;
};
constexpr Glyphs unicodeGlyphs = {"┤", "│", "└", "─", "┴", "┊", "▬", "░", "▒", "│", "─", "━━", " … "};
constexpr Glyphs asciiGlyphs = {"+", "|", "+", "-", "+", "!", "=", "~", "#", "|", "-", "--", " to "};

class TerminalPicture {
  public:
    TerminalPicture(const Figure& figure, const TerminalSize& size, const TerminalMeans& means)
        : figure(figure), size(size), means(means), glyphs(means.unicode ? unicodeGlyphs : asciiGlyphs) {
        placeAxes();
    }

    std::string draw() {
        line([&](StyledLine& line) { line.append(shortened(figure.title, size.columns), bold); });
        for (std::size_t i = 0; i < figure.lanes.size(); ++i) {
            lane(i);
        }
        for (std::size_t i = 0; i < figure.panels.size(); ++i) {
            headline(figure.panels[i]);
            if (figure.panels[i].isStates()) {
                bands(figure.panels[i].tracks.front());
            } else {
                curves(figure.panels[i], axes[i]);
            }
        }
        timeLines();
        return std::move(out);
    }

  private:
    void placeAxes() {
        left = 3;
        const unsigned ticks = std::max(2U, (size.rows + 1) / 2);
        for (const FigurePanel& panel : figure.panels) {
            axes.push_back(panel.isStates()
                               ? ValueAxis()
                               : valueAxis(panel.least(), panel.greatest(), ticks, panel.isWhole()));
            for (const ValueTick& tick : axes.back().ticks) {
                left = std::max(left, textWidth(tick.text));
            }
        }
        left = std::min<std::size_t>(left, size.columns / 3);
        columns = size.columns - left - 1;
        const std::size_t room = figure.times.style == TimeStyle::Epoch ? 16 : 12;
        time = timeAxis(figure.from, figure.to, figure.times,
                        static_cast<unsigned>(std::max<std::size_t>(2, columns / room)));
    }

    template <class Fill>
    void line(Fill&& fill) {
        StyledLine line(means.colours);
        fill(line);
        out += line.finish();
    }

    std::size_t columnOf(std::uint64_t at) const {
        const double column = time.position(at) * static_cast<double>(columns);
        return std::min(static_cast<std::size_t>(column), columns - 1);
    }

    /// Left text and, if there is room, right text.
    void writeEnds(StyledLine& line, const std::string& right) const {
        const std::size_t width = textWidth(right);
        if (line.width() + 2 + width <= size.columns) {
            line.fillTo(size.columns - width);
            line.append(right, faint);
        }
    }

    void lane(std::size_t number) {
        const FigureLane& lane = figure.lanes[number];
        line([&](StyledLine& line) {
            line.append(shortened(lane.name, size.columns), laneInk(number));
            writeEnds(line, std::to_string(lane.count) + "x");
        });
        std::vector<bool> isMarked(columns);
        for (const TimeSpan& span : lane.spans) {
            for (std::size_t column = columnOf(span.from); column <= columnOf(span.to); ++column) {
                isMarked[column] = true;
            }
        }
        line([&](StyledLine& line) {
            line.fillTo(left);
            line.append(glyphs.edge, faint);
            for (const bool marked : isMarked) {
                line.append(marked ? glyphs.span : " ", marked ? laneInk(number) : "");
            }
        });
    }

    void headline(const FigurePanel& panel) {
        const FigureTrack& first = panel.tracks.front();
        const std::string range =
            panel.isStates()
                ? ""
                : valueText(panel.least()) +
                      (panel.isConstant() ? "" : std::string(glyphs.until) + valueText(panel.greatest()));
        line([&](StyledLine& line) {
            for (std::size_t i = 0; i < panel.tracks.size(); ++i) {
                const std::string_view before = i == 0 ? "" : "  ";
                const std::size_t room =
                    size.columns - std::min<std::size_t>(size.columns, line.width() + before.size() + 3);
                if (panel.tracks.size() == 1) {
                    line.append(shortened(first.name, size.columns), bold);
                } else if (room > 3) {
                    line.append(before);
                    line.append(glyphs.sample, inkOf(i));
                    line.append(" ");
                    line.append(shortened(panel.tracks[i].name, room), bold);
                }
            }
            writeEnds(line, range + (first.unit.empty() ? "" : " " + first.unit));
        });
    }

    // --- bands ---

    struct BandCell {
        std::size_t state = noState;
        bool isShort = false;
        bool begins = false; ///< a band
    };
    static constexpr std::size_t noState = severalStates - 1;

    /// What each cell shows: the band that goes through it, or the short ones that lie in it.
    std::vector<BandCell> bandCells(const FigureTrack& track) const {
        const auto cell = static_cast<std::uint64_t>(static_cast<double>(time.to - time.from) /
                                                     static_cast<double>(columns));
        const std::vector<StateBand> all = stateBands(track, figure.to, 1);
        std::vector<BandCell> cells(columns);
        for (const bool isShort : {false, true}) {
            for (const StateBand& band : all) {
                if ((band.to - band.from < cell) != isShort) {
                    continue;
                }
                const std::size_t first = columnOf(band.from);
                const std::size_t last = std::max(first, columnOf(band.to - (band.to > band.from ? 1 : 0)));
                for (std::size_t column = first; column <= last; ++column) {
                    const bool isTaken = cells[column].isShort && cells[column].state != band.state;
                    cells[column] = {isTaken ? severalStates : band.state, isShort, column == first};
                }
            }
        }
        return cells;
    }

    void bands(const FigureTrack& track) {
        const std::vector<BandCell> cells = bandCells(track);
        line([&](StyledLine& line) {
            line.fillTo(left);
            line.append(glyphs.edge, faint);
            for (std::size_t begin = 0; begin < columns;) {
                std::size_t end = begin + 1;
                while (end < columns && cells[end].state == cells[begin].state) {
                    ++end;
                }
                band(line, track, cells[begin].state, end - begin);
                begin = end;
            }
        });
    }

    void band(StyledLine& line, const FigureTrack& track, std::size_t state, std::size_t width) const {
        if (state >= noState) {
            for (std::size_t i = 0; i < width; ++i) {
                line.append(state == noState ? glyphs.none : glyphs.several, faint);
            }
            return;
        }
        const std::string style = "7;" + std::string(inkOf(state));
        line.append(glyphs.begin, style);
        const std::string& text = track.states[state].text;
        std::size_t used = 1;
        if (textWidth(text) + 1 <= width) {
            line.append(text, style);
            used += textWidth(text);
        }
        for (; used < width; ++used) {
            line.append(means.colours ? " " : glyphs.fill, style);
        }
    }

    // --- curves ---

    void curves(const FigurePanel& panel, const ValueAxis& axis) {
        const std::size_t rows = panel.isConstant() ? 1 : size.rows;
        BrailleCanvas canvas(columns, rows);
        for (std::size_t i = 0; i < panel.tracks.size(); ++i) {
            curve(canvas, axis, panel.tracks[i], static_cast<std::uint8_t>(i % inks.size() + 1));
        }
        const std::map<std::size_t, std::string> ticks = ticksByRow(axis, rows);
        const std::vector<Background> behind = background(panel);
        for (std::size_t row = 0; row < rows; ++row) {
            line([&](StyledLine& line) {
                const auto tick = ticks.find(row);
                const std::string label = tick == ticks.end() ? "" : shortened(tick->second, left);
                line.fillTo(left - textWidth(label));
                line.append(label, faint);
                line.append(tick == ticks.end() ? glyphs.edge : glyphs.tick, faint);
                for (std::size_t column = 0; column < columns; ++column) {
                    cell(line, canvas, column, row, behind[column]);
                }
            });
        }
    }

    struct Background {
        std::string_view glyph = " ";
        std::string_view style;
    };

    /// Of each column: gaps, and the beginnings of what conditions mark.
    std::vector<Background> background(const FigurePanel& panel) const {
        std::vector<Background> behind(columns);
        std::vector<TimeSpan> gaps = figure.gaps;
        if (panel.tracks.size() == 1) {
            const std::vector<TimeSpan> breaks = breaksOf(panel.tracks.front(), figure.to);
            gaps.insert(gaps.end(), breaks.begin(), breaks.end());
        }
        for (const TimeSpan& gap : gaps) {
            for (std::size_t column = columnOf(gap.from) + 1; column < columnOf(gap.to); ++column) {
                behind[column] = {glyphs.none, faint};
            }
        }
        for (std::size_t i = 0; i < figure.lanes.size(); ++i) {
            if (figure.lanes[i].spans.size() <= mostMarkedSpans) {
                for (const TimeSpan& span : figure.lanes[i].spans) {
                    behind[columnOf(span.from)] = {glyphs.mark, laneInk(i)};
                }
            }
        }
        return behind;
    }

    void cell(StyledLine& line, const BrailleCanvas& canvas, std::size_t column, std::size_t row,
              const Background& behind) const {
        const std::uint8_t ink = canvas.ink(column, row);
        if (ink == 0) {
            line.append(behind.glyph, behind.style);
        } else {
            line.append(means.unicode ? canvas.braille(column, row)
                                      : std::string(1, canvas.ascii(column, row)),
                        inkOf(ink - 1U));
        }
    }

    static std::size_t dotOf(double position, std::size_t dots) {
        return static_cast<std::size_t>(std::lround(position * static_cast<double>(dots - 1)));
    }

    std::map<std::size_t, std::string> ticksByRow(const ValueAxis& axis, std::size_t rows) const {
        std::map<std::size_t, std::string> byRow;
        for (const ValueTick& tick : axis.ticks) {
            byRow.emplace(dotOf(1 - axis.position(tick.value), rows * 4) / 4, tick.text);
        }
        return byRow;
    }

    void curve(BrailleCanvas& canvas, const ValueAxis& axis, const FigureTrack& track,
               std::uint8_t ink) const {
        bool isOpen = false;
        BrailleCanvas::Dot last{};
        for (const CurvePoint& point : track.points) {
            const std::size_t x = dotOf(time.position(point.time), canvas.width());
            if (isOpen && track.kind == CurveKind::Step) {
                canvas.draw(last, {x, last.y}, ink);
                last.x = x;
            }
            if (std::isnan(point.value)) {
                isOpen = false;
                continue;
            }
            const BrailleCanvas::Dot dot{x, dotOf(1 - axis.position(point.value), canvas.height())};
            canvas.draw(isOpen ? last : dot, dot, ink);
            last = dot;
            isOpen = true;
        }
    }

    // --- time ---

    void timeLines() {
        std::vector<bool> isTick(columns);
        for (const TimeTick& tick : time.ticks) {
            isTick[columnOf(tick.time)] = true;
        }
        line([&](StyledLine& line) {
            line.fillTo(left);
            line.append(glyphs.corner, faint);
            for (const bool tick : isTick) {
                line.append(tick ? glyphs.below : glyphs.bar, faint);
            }
        });
        line([&](StyledLine& line) {
            for (const TimeTick& tick : time.ticks) {
                const std::size_t width = textWidth(tick.text);
                const std::size_t middle = left + 1 + columnOf(tick.time);
                const std::size_t begin =
                    std::min(middle - std::min(middle, width / 2), size.columns - width);
                if (line.width() == 0 || begin > line.width()) {
                    line.fillTo(begin);
                    line.append(tick.text, faint);
                }
            }
        });
        line([&](StyledLine& line) {
            const std::string title = shortened(time.title, size.columns);
            line.fillTo((size.columns - textWidth(title)) / 2);
            line.append(title, faint);
        });
    }

    const Figure& figure;
    TerminalSize size;
    TerminalMeans means;
    const Glyphs& glyphs;
    std::size_t left = 0;    ///< cells before the edge
    std::size_t columns = 0; ///< cells behind it
    std::vector<ValueAxis> axes;
    TimeAxis time;
    std::string out;
};

} // namespace

std::string terminalDrawing(const Figure& figure, const TerminalSize& size, const TerminalMeans& means) {
    return TerminalPicture(figure, size, means).draw();
}

std::size_t terminalDots(const TerminalSize& size) {
    return std::size_t{size.columns} * 2;
}

} // namespace rksignal

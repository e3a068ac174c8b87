/// \file
/// What a plot shows, however it is drawn: small multiples over one axis of time.
#pragma once

#include "curve/Curve.h"
#include "text/NumberText.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

/// Times here are nanoseconds since 1970-01-01 UTC, values are physical. Texts are ready to be shown: they
/// hold no control characters.
struct TimeSpan {
    std::uint64_t from;
    std::uint64_t to;
};

/// A value of a signal whose values have texts.
struct FigureState {
    double value;
    std::string text; ///< of the value; without one, the number
};

/// One signal.
struct FigureTrack {
    std::string name;
    std::string unit;
    CurveKind kind = CurveKind::Empty; ///< not Empty, and of constant values Step or States
    std::vector<CurvePoint> points;    ///< reduced to the columns of the figure, at least one
    double least = 0;                  ///< of the values
    double greatest = 0;
    bool isWhole = false;            ///< all values are integers
    std::vector<FigureState> states; ///< of States: those that occur, ascending
};

/// Signals over each other: one, or several of one unit that are not States.
struct FigurePanel {
    std::vector<FigureTrack> tracks; ///< at least one

    bool isStates() const { return tracks.front().kind == CurveKind::States; }
    bool isConstant() const;
    double least() const;
    double greatest() const;
    bool isWhole() const;
};

/// When something was the case.
struct FigureLane {
    std::string name;
    std::uint64_t count = 0;     ///< of all, also of those that have been joined
    std::vector<TimeSpan> spans; ///< in the order of time; a moment where both ends are equal
};

struct Figure {
    std::string title;
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    TimeFormat times;
    std::vector<FigurePanel> panels;
    std::vector<FigureLane> lanes; ///< conditions, and when they were true
    std::vector<TimeSpan> gaps;    ///< without any message
};

/// Conditions that were true more often are not marked in the panels: that would hide the curves.
constexpr std::size_t mostMarkedSpans = 40;

/// A stretch of time in which a signal had one state, or several that are too short to be told apart.
struct StateBand {
    std::uint64_t from;
    std::uint64_t to;
    std::size_t state; ///< index in FigureTrack::states, or `severalStates`
};
constexpr std::size_t severalStates = ~std::size_t{0};

/// The bands of a track of States up to `end`; where there is no value there is none. Neighbours that are
/// shorter than `shortest` nanoseconds become one band of several states; a single short one stays.
std::vector<StateBand> stateBands(const FigureTrack& track, std::uint64_t end, std::uint64_t shortest);

/// The times without a value: from a break to the next point, or to `end`.
std::vector<TimeSpan> breaksOf(const FigureTrack& track, std::uint64_t end);

} // namespace rksignal

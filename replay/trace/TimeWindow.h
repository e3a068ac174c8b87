/// \file
/// The part of the time of traces that is wanted.
#pragma once

#include "text/Moment.h"

#include <cstdint>
#include <optional>

namespace rksignal {

/// From one moment to another one, both included; without them from the start, or to the end.
struct TimeWindow {
    std::optional<Moment> from;
    std::optional<Moment> to;
    /// Nanoseconds behind `from` or, without it, before `to`; with neither behind the start.
    std::optional<std::uint64_t> duration;

    bool isOpen() const { return !from && !to && !duration; }
};

/// What a window has left out.
struct WindowReport {
    std::uint64_t outside = 0; ///< messages that were read, and not delivered
    std::uint64_t first = 0;   ///< the time of the first message that was read
    std::uint64_t last = 0;    ///< the latest time of all that were read
    bool endedEarly = false;   ///< what is behind the window was not read
};

/// A window whose bounds are known.
class TimeBounds {
  public:
    /// Bounds beyond 64 bits are taken to be the first and the last time. `start` is what relative moments
    /// count from.
    TimeBounds(const TimeWindow& window, std::uint64_t start)
        : from(window.from ? window.from->at(start) : beginOf(window, start)),
          to(window.to ? window.to->at(start) : endOf(window, from)) {}

    bool holds(std::uint64_t time) const { return from <= time && time <= to; }
    bool isBefore(std::uint64_t time) const { return to < time; } ///< as a whole

    /// Whether a trace that has come to `time` cannot get back into the window, but for a clock that is set
    /// back: recorders write messages of several interfaces out of order, by much less.
    bool isPassed(std::uint64_t time) const {
        constexpr std::uint64_t disorder = 10'000'000'000;
        return time > to && time - to > disorder;
    }

  private:
    static std::uint64_t beginOf(const TimeWindow& window, std::uint64_t start) {
        if (!window.to || !window.duration) {
            return window.duration ? start : 0;
        }
        const std::uint64_t end = window.to->at(start);
        return end - std::min(end, *window.duration);
    }
    static std::uint64_t endOf(const TimeWindow& window, std::uint64_t from) {
        return window.duration ? Moment{*window.duration, true}.at(from) : ~std::uint64_t{0};
    }

    std::uint64_t from;
    std::uint64_t to;
};

} // namespace rksignal

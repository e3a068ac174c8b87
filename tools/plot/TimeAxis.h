/// \file
/// The axis of time of a figure.
#pragma once

#include "text/NumberText.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

struct TimeTick {
    std::uint64_t time; ///< nanoseconds since 1970-01-01 UTC
    std::string text;
};

/// Times are in nanoseconds since 1970-01-01 UTC.
struct TimeAxis {
    std::uint64_t from = 0;
    std::uint64_t to = 1;        ///< more than `from`
    std::vector<TimeTick> ticks; ///< ascending, within both
    std::string title;           ///< what the texts mean

    /// Where a time lies, from 0 at `from` to 1 at `to`.
    double position(std::uint64_t time) const;
};

/// An axis from one time to another one, widened if they are the same. Ticks lie at whole steps that people
/// count time in, and are at most `mostTicks`, which is at least 2:
/// - relative times count from `times.start`, in seconds, above three minutes as `2:30` or `1:02:30`
/// - the times of ISO 8601 are those of the day, in UTC, with the date where a day begins
/// - the times since 1970 are seconds
TimeAxis timeAxis(std::uint64_t from, std::uint64_t to, const TimeFormat& times, unsigned mostTicks);

} // namespace rksignal

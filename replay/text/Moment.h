/// \file
/// Moments and durations as people write them.
#pragma once

#include "text/Export.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

namespace rksignal {

/// A time, of the clock or since the start of what is read.
struct Moment {
    std::uint64_t nanoseconds = 0; ///< since 1970-01-01 UTC, or since the start
    bool isRelative = false;       ///< the latter

    /// In nanoseconds since 1970-01-01 UTC, at most the greatest number.
    std::uint64_t at(std::uint64_t start) const {
        return isRelative ? start + std::min(nanoseconds, ~std::uint64_t{0} - start) : nanoseconds;
    }
};

/// Reads
/// - seconds since 1970-01-01 UTC with at most 9 decimals: `1700000012.345678`
/// - a duration behind a sign, since the start: `+12.5s`, `+12.5`, `+2min`
/// - a date and time of ISO 8601 with its zone: `2026-11-22T10:00:00+01:00`, `2026-11-22T09:00:00.5Z`; the
///   seconds may be left out
///
/// \return nothing if it is none of these, or not between 1970 and 2554
RKREPLAY_EXPORT std::optional<Moment> parseMoment(std::string_view text);

/// Reads seconds with at most 9 decimals (`2`, `0.5`, `1700000012.345678`) exactly. \return nanoseconds
RKREPLAY_EXPORT std::optional<std::uint64_t> decimalSeconds(std::string_view text);

/// Reads a number with at most 9 decimals and its unit, `h`, `min`, `s`, `ms`, `us` or `ns`; without one it
/// is seconds. Parts of a nanosecond are dropped. \return nanoseconds; nothing if it is no duration, or too
/// long for 64 bits
RKREPLAY_EXPORT std::optional<std::uint64_t> parseDuration(std::string_view text);

} // namespace rksignal

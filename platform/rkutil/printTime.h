/// \file
/// Text form of the logger's time stamps.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>

/// Writes a time stamp, nanoseconds since 1970-01-01 00:00 UTC, as `YYYY-MM-DD hh:mm:ss.nnnnnnnnn` in UTC.
/// The stream's base, fill and width settings neither matter nor change. Every 64-bit value has a text; the
/// largest is 2554-07-21 23:34:33.709551615. Any thread.
/// \return `out`
RK_EXPORT std::ostream& printTime(std::ostream& out, std::uint64_t timestamp);

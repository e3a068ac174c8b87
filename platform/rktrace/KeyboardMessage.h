/// \file
/// A key of the remote control as the logger records it.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>

/// A key that was pressed or released. A plain value.
struct RK_EXPORT KeyboardMessage {
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 00:00 UTC
    std::int32_t keyCode = 0;    ///< 1 to 10: function keys F1 to F10; 16: the trigger key
    std::int32_t value = 0;      ///< 0 released, 1 pressed, 2 pressed long
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,keyCode=16,value=1`. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const KeyboardMessage& message);

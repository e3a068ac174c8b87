/// \file
/// One received LIN frame as the logger records it.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

/// A LIN frame (ISO 17987-3) with its receive time. A plain value.
struct RK_EXPORT LINTraceMessage {
    std::uint64_t timestamp = 0;      ///< receive time, nanoseconds since 1970-01-01 00:00 UTC
    std::vector<std::uint8_t> data{}; ///< the data bytes, 1 to 8 in a valid frame, without the checksum
    std::uint8_t channel = 0;         ///< bus channel
    std::uint8_t protectedId = 0;     ///< frame identifier in bits 0 to 5, its parity in bits 6 and 7
};

/// Writes the frame on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,channel=2,protectedId=0xc5,data=0a ff`. Leaves the stream in
/// decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const LINTraceMessage& message);

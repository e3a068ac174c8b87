/// \file
/// One received FlexRay frame as the logger records it.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

/// A FlexRay frame (ISO 17458-2) with its receive time. A plain value.
struct RK_EXPORT FlexRayExtTraceMessage {
    /// Values of `frameKind`.
    enum FrameKind : std::uint8_t {
        Static = 16,  ///< a frame of the static segment
        Dynamic = 17, ///< a frame of the dynamic segment
    };

    std::uint64_t timestamp = 0;         ///< receive time, nanoseconds since 1970-01-01 00:00 UTC
    std::uint8_t frameKind = Static;     ///< one of FrameKind; others carry no payload that is decoded
    std::uint8_t channel = 0;            ///< bus channel
    std::vector<std::uint8_t> data{};    ///< the data buffer; its size is the length of the frame
    std::uint16_t slot = 0;              ///< slot identifier, 1 to 2047
    std::uint8_t cycle = 0;              ///< communication cycle, 0 to 63
    std::vector<std::uint8_t> payload{}; ///< the payload bytes, 0 to 254 in a valid frame
};

/// Writes the frame on one line without line end, e.g. `timestamp=1970-01-01
/// 00:00:00.000000001,frameKind=16,channel=1,slot=10,cycle=4,data=0a ff,payload=0a ff`. Leaves the stream in
/// decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const FlexRayExtTraceMessage& message);

/// \file
/// What the logger records of its Ethernet ports: frames, and messages of other kinds about them.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

/// An Ethernet message with its time. A plain value.
struct RK_EXPORT EthernetTraceMessage {
    /// The one value of `kind` that says that `frame` is a received frame.
    static constexpr std::int32_t Frame = 8;

    std::uint64_t timestamp = 0;       ///< nanoseconds since 1970-01-01 00:00 UTC
    std::vector<std::uint8_t> frame{}; ///< from the destination address on, without the checksum
    std::uint8_t channel = 0;          ///< logger Ethernet channel
    std::int32_t kind = 0;             ///< what the message is about
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,channel=2,kind=8,frame=0a ff`. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const EthernetTraceMessage& message);

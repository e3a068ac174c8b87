/// \file
/// The headers of an Ethernet frame, as far as values are found behind them.
#pragma once

#include "ethernet/FlowKey.h"
#include "rktrace/MIITraceMessage.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace rksignal {

/// What the headers of a frame say. The analysis accepts what MIITraceMessage::analyzeFrame() accepts, with
/// the same result in `info`, and more: stacked VLAN tags (IEEE 802.1ad, and the types 0x9100 and 0x8100),
/// and IPv6 (RFC 8200) with extension headers.
struct FrameLayers {
    static constexpr std::size_t maxTags = 4;

    /// With the innermost VLAN tag; without addresses if the packet is one of IPv6.
    miiFrameInfo_t info;
    FlowKey flow;                                 ///< but for the channel
    std::array<std::uint16_t, maxTags> vlanIds{}; ///< from the outermost on
    std::size_t tags = 0;
    ByteView payload;              ///< what UDP or TCP carries, without padding
    std::uint32_t tcpSequence = 0; ///< of the first byte, or of the SYN
    bool tcpStarts = false;        ///< the SYN flag

    bool isTcp() const { return info.ipProtocol == 6; }

    /// Analyses a frame: Ethernet II, tags, IPv4 or IPv6, UDP or TCP. `layers` is a fresh one. Reads nothing
    /// outside of `frame`, whatever its headers say; costs some tens of nanoseconds.
    /// \return whether all of `layers` is set
    static bool analyse(ByteView frame, FrameLayers& layers);
};

} // namespace rksignal

/// \file
/// One Ethernet frame as the logger records it at a media-independent interface, and the analysis of its
/// headers.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

/// What the headers of an Ethernet frame say. A plain value.
struct RK_EXPORT miiFrameInfo_t {
    std::uint64_t sourceMac = 0; ///< in the low 48 bits, the first octet on the wire most significant
    std::uint64_t destinationMac = 0;
    std::uint32_t sourceIp = 0; ///< in network order in memory, as `inet_ntoa` takes it
    std::uint32_t destinationIp = 0;
    std::uint16_t sourcePort = 0; ///< of UDP or TCP
    std::uint16_t destinationPort = 0;
    std::uint8_t ipProtocol = 0; ///< 6 TCP, 17 UDP
    std::uint8_t vlan = 0;       ///< 1: the frame has a VLAN tag
    std::uint16_t vlanId = 0;    ///< 12 bits; 0 without a tag
    std::uint32_t payloadOffset =
        0; ///< of the first byte behind the UDP or TCP header, from the frame's start
};

/// An Ethernet frame with its receive time. A plain value.
struct RK_EXPORT MIITraceMessage {
    std::uint64_t timestamp = 0;       ///< receive time, nanoseconds since 1970-01-01 00:00 UTC
    std::vector<std::uint8_t> frame{}; ///< from the destination address on, without the checksum
    std::uint8_t channel = 0;          ///< logger Ethernet channel

    /// Analyses the headers of a frame of `length` bytes in place: Ethernet II, at most one VLAN tag (IEEE
    /// 802.1Q), IPv4 with or without options, and UDP or TCP. The first fragment of a packet counts as well.
    ///
    /// Refused are other protocols (ARP, IPv6, stacked tags, ICMP, ...), fragments other than the first,
    /// which have no ports, and headers that are cut short or whose lengths contradict the frame's or each
    /// other. Checksums are not examined, and bytes behind the IP packet are padding.
    ///
    /// Sets in `info` what it has read; the caller has zeroed it. Any bytes may be given. Any thread.
    /// Allocates nothing; costs a few nanoseconds.
    /// \return whether all of `info` is set; `payloadOffset` is then at most `length`
    static bool analyzeFrame(const unsigned char* data, unsigned long length, miiFrameInfo_t& info);
};

/// Writes the fields as `name=value` items joined by commas, e.g. `sourceMac=02:00:00:00:00:01,
/// destinationMac=02:00:00:00:00:02,sourceIp=10.0.0.1,destinationIp=10.0.0.2,sourcePort=30490,
/// destinationPort=30490,ipProtocol=17,vlan=1,vlanId=5,payloadOffset=46`. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const miiFrameInfo_t& info);

/// Writes the frame on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,channel=2,frame=0a ff`. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const MIITraceMessage& message);

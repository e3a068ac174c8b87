/// \file
/// Ethernet frames written out for tests and benchmarks.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

using Octets = std::vector<std::uint8_t>;

/// Appends the low `count` bytes of `number`, the most significant first.
inline void append(Octets& octets, std::uint64_t number, int count) {
    for (int shift = 8 * count - 8; shift >= 0; shift -= 8)
        octets.push_back(static_cast<std::uint8_t>(number >> shift));
}

inline Octets operator+(Octets left, const Octets& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// An IPv4 packet from 10.0.0.1 to 10.0.0.2 in a frame from 02:00:00:00:00:01 to 02:00:00:00:00:02.
struct FrameText {
    std::uint16_t sourcePort = 1000, destinationPort = 2000;
    std::uint8_t protocol = 17;            ///< 6 makes a TCP header, all others a UDP header
    std::optional<std::uint16_t> tag = {}; ///< the VLAN tag behind its type
    std::uint8_t ipWords = 5, tcpWords = 5;
    std::uint16_t fragment = 0; ///< flags and offset
    std::uint64_t sourceMac = 0x020000000001;
    std::uint8_t sourceHost = 1; ///< the last byte of the source address

    /// The frame with this payload and that many bytes of padding.
    Octets with(const Octets& payload, std::size_t padding = 0) const {
        Octets frame;
        append(frame, 0x020000000002, 6);
        append(frame, sourceMac, 6);
        if (tag)
            append(frame, 0x81000000U | *tag, 4);
        append(frame, 0x0800, 2);
        const std::size_t transport = (protocol == 6 ? std::size_t{4} * tcpWords : 8) + payload.size();
        append(frame, 0x4000U + ipWords * 0x100U, 2);
        append(frame, std::size_t{4} * ipWords + transport, 2);
        append(frame, fragment, 4); // identification 0
        append(frame, 0x40000000U | std::uint32_t{protocol} << 16, 4);
        append(frame, 0x0A000000U + sourceHost, 4);
        append(frame, 0x0A000002, 4);
        frame.resize(frame.size() + std::size_t{4} * (ipWords - 5U), 1); // no-operation options
        append(frame, std::uint64_t{sourcePort} << 16 | destinationPort, 4);
        if (protocol == 6) {
            append(frame, 0, 8);
            append(frame, std::uint64_t{tcpWords} << 60, 8);
            frame.resize(frame.size() + std::size_t{4} * (tcpWords - 5U), 1);
        } else {
            append(frame, transport << 16, 4);
        }
        frame.insert(frame.end(), payload.begin(), payload.end());
        frame.resize(frame.size() + padding);
        return frame;
    }
};

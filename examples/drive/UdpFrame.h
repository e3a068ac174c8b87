/// \file
/// Ethernet frames with a UDP datagram.
#pragma once

#include "Octets.h"

#include <cstdint>

namespace drive {

/// From where to where a datagram goes. Station n of the demo's car has the address 10.0.0.n, and
/// 02:00:00:00:00:n.
struct UdpPath {
    std::uint8_t source, destination; ///< stations
    std::uint16_t port;               ///< of both
    std::uint16_t vlanId = 0;         ///< 0: no VLAN tag
};

/// The frame from the destination address on, without its checksum: IPv4 (RFC 791) in Ethernet II, padded to
/// the least length of a frame. UDP's own checksum is 0, which says that there is none (RFC 768).
Octets udpFrame(const UdpPath& path, const Octets& payload);

} // namespace drive

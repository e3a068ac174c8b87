/// \file
/// What tells the frames of a bus, and the messages of an input, from others.
#pragma once

#include "definition/SignalKind.h"
#include "text/Export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// One direction of the traffic between two ports, or, of packets that are not UDP or TCP, between two MAC
/// addresses.
struct EthernetFlow {
    std::array<std::uint8_t, 16> source{}; ///< as sent; of IPv4 the first 4 bytes, of MAC addresses 6
    std::array<std::uint8_t, 16> destination{};
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint16_t etherType = 0; ///< behind all VLAN tags; 0 if `ipVersion` is not
    std::uint16_t vlanId = 0;    ///< the innermost
    std::uint8_t ipProtocol = 0; ///< 6 TCP, 17 UDP
    std::uint8_t ipVersion = 0;  ///< 4, 6; 0: the addresses are MAC addresses

    friend bool operator==(const EthernetFlow&, const EthernetFlow&) = default;
};

/// A plain value.
struct FrameIdentity {
    SignalKind kind = SignalKind::Can;
    bool extended = false;               ///< of CAN: 29 bits
    std::optional<std::uint8_t> channel; ///< the logger's own inputs have none
    std::uint32_t id = 0; ///< of CAN, of LIN without parity; slot of FlexRay; number of an input; code of a
                          ///< key or a status; 0 of Ethernet and GPS
    EthernetFlow flow;    ///< of Ethernet

    friend bool operator==(const FrameIdentity&, const FrameIdentity&) = default;
};

/// The identifier as summaries and options write it: of CAN `1A0` or `18FEF100`, of LIN `3C`, all
/// hexadecimal; `41` of a slot or an input; `udp 10.0.0.1:30490 > 10.0.0.2:30490`, `0806 02:00:00:00:00:01 >
/// ff:ff:ff:ff:ff:ff` of Ethernet, with ` vlan 5` behind; empty for GPS.
RKREPLAY_EXPORT std::string identityText(const FrameIdentity& identity);

} // namespace rksignal

/// \file
/// Where an Ethernet signal lies: in which frames, in which container of their payload, at which bytes.
#pragma once

#include "signal/Export.h"

#include <cstdint>
#include <iosfwd>

/// The container that holds a signal inside the transport payload.
enum class ethSignalPosType_t : std::uint8_t {
    DEFAULT, ///< none: the payload itself
    IPDU,    ///< a PDU behind an 8-byte header with a 32-bit identifier
    SPDU,    ///< a PDU behind a 16-byte header with a 32-bit identifier
    SOMEIP,  ///< a SOME/IP message
};

/// Writes "DEFAULT", "IPDU", "SPDU" or "SOME/IP"; nothing for any other value.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, ethSignalPosType_t type);

/// One position of a signal. Addressing fields that are 0 stand for "any".
struct ethernetPosition_t {
    ethSignalPosType_t ethSignalType = ethSignalPosType_t::DEFAULT;
    std::uint16_t startBit = 0; ///< within the container's data, as in `baseSignalDef_t`

    std::uint64_t sourceMac = 0; ///< in the low 48 bits, the first octet on the wire most significant
    std::uint64_t destinationMac = 0;
    std::uint32_t sourceIp = 0; ///< IPv4, in network order in memory, as `inet_ntoa` takes it
    std::uint32_t destinationIp = 0;
    std::uint16_t sourcePort = 0; ///< of UDP or TCP
    std::uint16_t destinationPort = 0;
    std::uint16_t ipProtocol = 0; ///< 6 TCP, 17 UDP
    bool vlan = false;            ///< a VLAN tag is required; false: tagged and untagged frames both pass
    std::uint16_t vlanId = 0;

    std::uint32_t pduId = 0;         ///< IPDU only
    std::uint32_t messageId = 0;     ///< SPDU only
    std::uint32_t serviceId = 0;     ///< SOME/IP only; above 16 bits it matches no message
    std::uint32_t methodEventId = 0; ///< SOME/IP only: method or event; above 16 bits as above

    std::uint16_t startByte = 0; ///< derived: first byte of the signal within the container's data
    std::uint8_t numBytes = 0;   ///< derived: number of bytes it touches
};

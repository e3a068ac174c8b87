/// \file
/// The kind of Ethernet frame that a signal is bound to, and the hash by which frames are remembered.
#pragma once

#include "bus/EthernetPosition.h"
#include "rktrace/MIITraceMessage.h"
#include "signal/Export.h"

#include <cstdint>
#include <iosfwd>

/// A channel and addressing fields, of which all but the channel may be left open with 0. A plain value;
/// whoever changes a field calls `hashMe` afterwards.
class RKSIGNAL_EXPORT EthernetFrameHash {
  public:
    /// All fields 0: every frame of channel 0.
    EthernetFrameHash();
    /// Takes the addressing fields as they are; MAC addresses of more than 48 bits match no frame.
    EthernetFrameHash(const ethernetPosition_t& position, unsigned char channel);
    /// Copies the addressing fields only. The channel stays 0, on purpose: who copies sets it by `setFrame`.
    EthernetFrameHash(const EthernetFrameHash& other);
    EthernetFrameHash& operator=(const EthernetFrameHash&) = default;
    ~EthernetFrameHash() = default;

    /// Takes the addressing fields, of the MAC addresses the low 48 bits.
    void setFrame(const ethernetPosition_t& position, unsigned char channel);

    /// Computes `hash` anew. \return `hash`
    std::uint32_t hashMe();

    /// Whether a frame that was analysed as `frame` and seen on `channel` is of this kind. Open fields match
    /// any value; `vlan` asks for a tag only when it is true, and `vlanId` is compared whatever it says.
    bool match(const miiFrameInfo_t& frame, unsigned char channel) const;

    std::uint8_t channel = 0;
    std::uint64_t sourceMac = 0;
    std::uint64_t destinationMac = 0;
    std::uint32_t sourceIp = 0; ///< in network order in memory
    std::uint32_t destinationIp = 0;
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint16_t ipProtocol = 0; ///< above 255 it matches no frame
    bool vlan = false;
    std::uint16_t vlanId = 0;
    std::uint32_t hash = 0; ///< the low 32 bits of the hash of the fields above
};

/// The hash of a frame. Its low 32 bits equal the `hash` of a position without open fields that it matches; a
/// position with open fields has another hash than the frames that it matches.
RKSIGNAL_EXPORT std::uint64_t hashFrame(const miiFrameInfo_t& frame, unsigned char channel);

/// Writes the addressing fields as `sMAC=...,dMAC=...,sIP=...,dIP=...,sP=...,dP=...,ipProto=...,vlan=...,
/// vId=...`. Leaves the stream in decimal and boolalpha mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const EthernetFrameHash& frame);

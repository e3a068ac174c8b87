/// \file
/// The header of a SOME/IP message (AUTOSAR PRS_SOMEIPProtocol, 4.1).
#pragma once

#include "ethernet/FlowKey.h"
#include "rkutil/ByteOrder.h"

#include <cstddef>
#include <cstdint>

namespace rksignal {

struct SomeIpHeader {
    static constexpr std::size_t bytes = 16;
    static constexpr std::uint8_t segmentFlag = 0x20; ///< of the message type: a segment of SOME/IP-TP

    std::uint32_t identifier; ///< service in the high 16 bits, method or event in the low ones
    std::uint32_t length;     ///< from the request identifier on: 8 more than the data
    std::uint32_t request;    ///< client in the high 16 bits, session in the low ones
    std::uint8_t protocolVersion;
    std::uint8_t messageType;

    /// REQUIRES: `bytes` can be read.
    static SomeIpHeader at(const std::uint8_t* text) {
        return {bigEndian<4>(text), bigEndian<4>(text + 4), bigEndian<4>(text + 8), text[12], text[14]};
    }

    /// Of the whole message.
    std::uint64_t size() const { return std::uint64_t{8} + length; }
    /// Whether size() is that of a header at least.
    bool holdsHeader() const { return length >= 8; }
    bool isSegment() const { return isPlausible() && (messageType & segmentFlag) != 0; }

    /// Whether it can be the header of a message: the protocol version is 1, the message type is one of those
    /// that are defined, the message has at most 16 MiB.
    bool isPlausible() const {
        constexpr std::uint32_t maxLength = 1U << 24;
        return protocolVersion == 1 && holdsHeader() && length <= maxLength && isDefinedType();
    }

  private:
    /// Request, without return, notification, response, error, and the acknowledgements of earlier releases.
    bool isDefinedType() const {
        const unsigned type = messageType & ~unsigned{segmentFlag};
        return (type & ~0x40U) <= 2 || (type & ~0x40U) == 0x80 || (type & ~0x40U) == 0x81;
    }
};

/// Signals lie within so many bytes of the data of a message: start bits have 16 bits, and a signal touches
/// at most 8 bytes. Of messages that are put together, no more is kept.
constexpr std::size_t maxSignalBytes = 65536 / 8 + 8;

} // namespace rksignal

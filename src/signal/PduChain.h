/// \file
/// PDUs inside the payload of a frame: a chain of headers, each followed by its data.
///
/// A header begins with the PDU's identifier and holds the number of data bytes that follow it, both big
/// endian; the next header follows the data. The chains differ in the form of the header and in where a walk
/// along them stops. Lengths come from the wire: a walk always goes forward, in 64-bit arithmetic, and reads
/// nothing outside its bytes.
#pragma once

#include "rkutil/ByteOrder.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace pdu {

/// One kind of chain.
struct Chain {
    std::size_t headerBytes;
    std::size_t identifierBytes; ///< from the header's first byte on
    std::size_t lengthOffset;
    std::size_t lengthBytes;
    bool endsBeforeEnd; ///< header and data must end before the end of the chain, not at it
    bool stopsAtEmpty;  ///< a PDU without data ends the walk
};

/// In CAN FD payloads: the short header of AUTOSAR SoAd and IPduM. Of a header only its start must lie before
/// the end, and nothing is asked of the data: a header in the last three bytes is read past them.
constexpr Chain canFd{4, 3, 3, 1, false, false};
/// In CAN FD payloads: the long header of AUTOSAR SoAd and IPduM.
constexpr Chain canFdLong{8, 4, 4, 4, false, false};
/// In FlexRay payloads: the short header.
constexpr Chain flexRay{4, 3, 3, 1, true, true};
/// In Ethernet payloads: the long header of AUTOSAR SoAd.
constexpr Chain ipdu{8, 4, 4, 4, true, true};
/// In Ethernet payloads: identifier, length, and 8 bytes that are not interpreted.
constexpr Chain spdu{16, 4, 4, 4, true, true};
/// AUTOSAR SOME/IP messages: service and method stand in the place of the identifier. The length is taken to
/// count from the end of the header, not of the length field.
constexpr Chain someIp{16, 4, 4, 4, true, false};

/// The identifier of a SOME/IP message; one that no message has if a part is longer than 16 bits.
constexpr std::uint64_t someIpIdentifier(std::uint32_t service, std::uint32_t method) {
    return service > 0xFFFF || method > 0xFFFF ? ~std::uint64_t{0} : std::uint64_t{service} << 16 | method;
}

/// Sees nothing of a walk, at no cost.
struct Unseen {
    constexpr void operator()(std::size_t /*header*/, std::uint32_t /*identifier*/, bool /*found*/) const {}
};

/// A PDU of a chain.
struct Pdu {
    std::uint32_t identifier;
    std::size_t data; ///< offset of its first data byte
    std::size_t next; ///< offset of the header behind it
};

/// The PDU whose header is at `header`, or nothing if the chain at the start of `payload` has ended there: it
/// ends after `end` bytes; a header that does not fit into `payload` ends it too.
template <Chain chain>
constexpr std::optional<Pdu> pduAt(std::span<const std::uint8_t> payload, std::size_t end,
                                   std::size_t header) {
    if (header >= end || header >= payload.size() || payload.size() - header < chain.headerBytes) {
        return std::nullopt;
    }
    const std::size_t data = header + chain.headerBytes;
    const std::size_t length = bigEndian<chain.lengthBytes>(payload.data() + header + chain.lengthOffset);
    if (chain.endsBeforeEnd && (data >= end || length >= end - data)) {
        return std::nullopt;
    }
    if (chain.stopsAtEmpty && length == 0) {
        return std::nullopt;
    }
    return Pdu{bigEndian<chain.identifierBytes>(payload.data() + header), data, data + length};
}

/// Offset of the data of the first PDU with identifier `wanted` in the chain at the start of `payload`. An
/// identifier longer than those of the chain is never found. `visit(header, identifier, found)` is called for
/// every PDU that is compared, with the offset of its header.
template <Chain chain, class Visit = Unseen>
constexpr std::optional<std::size_t> find(std::span<const std::uint8_t> payload, std::size_t end,
                                          std::uint64_t wanted, Visit&& visit = {}) {
    std::size_t header = 0;
    while (const auto pdu = pduAt<chain>(payload, end, header)) {
        visit(header, pdu->identifier, pdu->identifier == wanted);
        if (pdu->identifier == wanted) {
            return pdu->data;
        }
        header = pdu->next;
    }
    return std::nullopt;
}

} // namespace pdu

/// \file
/// PDUs inside the payload of a frame: a chain of 4-byte headers, each followed by its data.
///
/// Header bytes 0 to 2 hold the PDU identifier, big-endian, byte 3 the number of data bytes that follow (the
/// short header of AUTOSAR SoAd and IPduM); the next header follows the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace pdu {

constexpr std::size_t headerBytes = 4;

constexpr std::uint32_t identifierAt(std::span<const std::uint8_t> payload, std::size_t header) {
    return std::uint32_t{payload[header]} << 16 | std::uint32_t{payload[header + 1]} << 8 |
           payload[header + 2];
}

/// Offset of the data of the PDU with identifier `wanted` in the chain at the start of `payload`.
///
/// Of a header only its start must lie in the first `length` bytes, and nothing is asked of the data: a
/// header in the last three of them is read past them, as far as `payload` reaches. One that does not fit
/// into `payload` counts as not found. An identifier above 24 bits is never found.
constexpr std::optional<std::size_t> find(std::span<const std::uint8_t> payload, std::size_t length,
                                          std::uint32_t wanted) {
    std::size_t header = 0;
    while (header < length && header < payload.size() && payload.size() - header >= headerBytes) {
        if (identifierAt(payload, header) == wanted) {
            return header + headerBytes;
        }
        header += headerBytes + payload[header + 3];
    }
    return std::nullopt;
}

} // namespace pdu

/// \file
/// Checksums of frames: over all bytes of the payload but those of the checksum itself, in their order.
///
/// CRCs are those of AUTOSAR, Specification of CRC Routines (CRC8, which is that of SAE J1850, CRC8H2F,
/// CRC16); the profiles those of AUTOSAR PRS_E2EProtocol.
#pragma once

#include "text/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace rksignal {

/// A plain value.
struct ChecksumRule {
    enum class Kind : std::uint8_t {
        Xor,       ///< exclusive or
        Sum,       ///< sum modulo 256
        Crc8J1850, ///< polynomial 0x1D, start and final XOR 0xFF
        Crc8H2f,   ///< polynomial 0x2F, start and final XOR 0xFF
        E2e1,      ///< profile 1: CRC-8 of polynomial 0x1D, start and final XOR 0, over data ID and bytes
        E2e2,      ///< profile 2: CRC8H2F over bytes and the data ID of the counter
        E2e5,      ///< profile 5: CRC16 over bytes and data ID, little endian
    };
    /// Which bytes of the data ID profile 1 takes.
    enum class DataIdMode : std::uint8_t {
        Both,   ///< variant 1A: low byte, high byte
        Alt,    ///< variant 1B: low byte of even counters, high byte of odd ones
        Low,    ///< low byte
        Nibble, ///< variant 1C: low byte, zero; the frame carries the low nibble of the high byte
    };

    Kind kind = Kind::Xor;
    DataIdMode mode = DataIdMode::Both;                              ///< of profile 1
    std::uint16_t dataId = 0;                                        ///< of profiles 1 and 5
    std::array<std::uint8_t, 16> dataIds{};                          ///< of profile 2, by counter
    std::size_t bytes() const { return kind == Kind::E2e5 ? 2 : 1; } ///< of the checksum
};

/// Reads `xor`, `sum`, `crc8-j1850`, `crc8-h2f`, `e2e1:ID`, `e2e1:ID:MODE` with a mode `both`, `alt`, `low`
/// or `nibble`, `e2e2:LIST` and `e2e5:ID`. ID is a number, decimal or hexadecimal behind `0x`; LIST is the 16
/// data IDs of one byte each as 32 hexadecimal digits, or one of them for all counters.
RKREPLAY_EXPORT std::optional<ChecksumRule> parseChecksumRule(std::string_view text);

/// The name of the rule without its parameters: `xor`, `E2E profile 1`.
RKREPLAY_EXPORT std::string_view checksumName(ChecksumRule::Kind kind);

/// What the checksum at byte `at` of the payload must be. The counter of profiles 1 and 2 is the low nibble
/// of the byte behind it. REQUIRES: the checksum lies in the payload; nothing else is read.
RKREPLAY_EXPORT std::uint16_t checksumOf(const ChecksumRule& rule, std::span<const std::uint8_t> payload,
                                         std::size_t at);

} // namespace rksignal

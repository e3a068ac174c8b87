/// \file
/// The number that identifies a CAN frame in the table of frames in use.
#pragma once

#include <cstdint>

namespace can {

/// Marks a CAN frame key and the identifier of a CAN signal.
constexpr std::uint64_t kindBit = 0x8000000000000000;

/// Frame key: the sum, modulo 2^64, of the kind bit, `tslId` from bit 56, `channel` from bit 32, the extended
/// flag at bit 31, the CAN FD flag at bit 30 and the identifier (ISO 11898-1). The terms are added, not
/// or-ed, on purpose: a trace source from 128 on carries out of bit 63, and an identifier of more than 30
/// bits adds into the flags.
constexpr std::uint64_t frameKey(std::uint8_t tslId, std::uint8_t channel, std::uint32_t msgId, bool extended,
                                 bool canFd) {
    return kindBit + (std::uint64_t{tslId} << 56) + (std::uint64_t{channel} << 32) +
           (std::uint64_t{extended} << 31) + (std::uint64_t{canFd} << 30) + msgId;
}

/// What a multiplexer with this raw value adds to the key of its frame, modulo 2^64: the signals filed under
/// the sum are decoded besides.
constexpr std::uint64_t multiplexerTerm(std::uint64_t raw) {
    return (raw + 1) << 40;
}

} // namespace can

/// \file
/// The number that identifies a LIN frame in the table of frames in use.
#pragma once

#include <cstdint>

namespace lin {

/// Marks a LIN frame key and the identifier of a LIN signal.
constexpr std::uint64_t kindBit = 0x4000000000000000;

/// Frame key: the sum of the kind bit, `tslId` from bit 16, `channel` from bit 8 and the six bits of the
/// frame identifier (ISO 17987-3). The parity bits of a protected identifier do not count.
constexpr std::uint64_t frameKey(std::uint8_t tslId, std::uint8_t channel, std::uint32_t msgId) {
    return kindBit + (std::uint64_t{tslId} << 16) + (std::uint64_t{channel} << 8) + (msgId & 0x3F);
}

} // namespace lin

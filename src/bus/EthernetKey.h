/// \file
/// The number by which an Ethernet frame is remembered.
#pragma once

#include "bus/EthernetFrameHash.h"

#include <cstdint>

namespace ethernet {

/// Marks an Ethernet frame key and the identifier of an Ethernet signal.
constexpr std::uint64_t kindBit = 0x1000000000000000;

/// Frame key: the kind bit plus the low 32 bits of the frame's hash.
inline std::uint64_t frameKey(const miiFrameInfo_t& info, std::uint8_t channel) {
    return kindBit + static_cast<std::uint32_t>(hashFrame(info, channel));
}

} // namespace ethernet

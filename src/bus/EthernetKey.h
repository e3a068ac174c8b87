/// \file
/// The number by which an Ethernet frame is remembered.
#pragma once

#include "bus/EthernetAddressing.h"
#include "rktrace/MIITraceMessage.h"

#include <cstdint>

namespace ethernet {

/// Marks an Ethernet frame key and the identifier of an Ethernet signal.
constexpr std::uint64_t kindBit = 0x1000000000000000;

/// The golden-ratio combine step on 64-bit words.
constexpr std::uint64_t combined(std::uint64_t hash, std::uint64_t value) {
    return hash ^ (value + 0x9E3779B9 + (hash << 6) + (hash >> 2));
}

/// The hash of a channel and the addressing fields of a record.
template <class Fields>
constexpr std::uint64_t hashOf(std::uint8_t channel, const Fields& fields) {
    std::uint64_t hash = combined(0, channel);
    forEachAddressingField(
        [&hash](AddressingField kind, auto field) { hash = combined(hash, addressingValue(kind, field)); },
        fields);
    return hash;
}

/// Frame key: the kind bit plus the low 32 bits of the frame's hash.
inline std::uint64_t frameKey(const miiFrameInfo_t& info, std::uint8_t channel) {
    return kindBit + static_cast<std::uint32_t>(hashOf(channel, info));
}

} // namespace ethernet

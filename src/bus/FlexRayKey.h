/// \file
/// The number that identifies a FlexRay frame in the table of frames in use, and the cycles in which a frame
/// occurs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace flexray {

/// Marks a FlexRay frame key and the identifier of a FlexRay signal.
constexpr std::uint64_t kindBit = 0x2000000000000000;

/// Number of communication cycles before their count starts again (ISO 17458-2).
constexpr std::size_t cycleCount = 64;

/// What a communication cycle adds to the key of a frame.
constexpr std::uint64_t cycleTerm(std::uint8_t cycle) {
    return std::uint64_t{cycle} << 20;
}

/// Frame key without its cycle: the sum of the kind bit, `tslId` from bit 26, the slot from bit 9, the flag
/// of the static segment at bit 8 and `channel`. The terms are added, not or-ed: a slot of more than its 11
/// bits adds into the cycle.
constexpr std::uint64_t frameKeyBase(std::uint8_t tslId, std::uint8_t channel, std::uint16_t slot,
                                     bool isStatic) {
    return kindBit + (std::uint64_t{tslId} << 26) + (std::uint64_t{slot} << 9) +
           (std::uint64_t{isStatic} << 8) + channel;
}

/// The kinds of frames that carry signals, as messages and records name them.
constexpr std::uint8_t staticKind = 16;
constexpr std::uint8_t dynamicKind = 17;
constexpr bool carriesSignals(std::uint8_t frameKind) {
    return frameKind == staticKind || frameKind == dynamicKind;
}

/// Key of a received frame of one of these kinds.
constexpr std::uint64_t frameKey(std::uint8_t tslId, std::uint8_t channel, std::uint16_t slot,
                                 std::uint8_t frameKind, std::uint8_t cycle) {
    return frameKeyBase(tslId, channel, slot, frameKind == staticKind) + cycleTerm(cycle);
}

/// For every cycle whether a frame occurs in it: from `baseCycle` on in every `repetition`-th one; a
/// repetition of 0 counts as 1. The count has 8 bits on purpose: repetitions from 193 on can come back below
/// 64, and so into cycles before the base cycle. A base cycle above 63 gives none.
constexpr std::array<bool, cycleCount> cyclesOf(std::uint8_t baseCycle, std::uint8_t repetition) {
    std::array<bool, cycleCount> cycles{};
    const unsigned step = repetition != 0 ? repetition : 1;
    for (std::uint8_t cycle = baseCycle; cycle < cycleCount;
         cycle = static_cast<std::uint8_t>(cycle + step)) {
        cycles[cycle] = true;
    }
    return cycles;
}

} // namespace flexray

/// \file
/// The numbers by which messages find the logger's inputs.
#pragma once

#include <cstdint>

namespace input {

/// Mark the identifiers of the kinds, and but for `gpsBit` their input keys.
constexpr std::uint64_t keyboardBit = 0x0800000000000000;
constexpr std::uint64_t digitalBit = 0x0400000000000000;
constexpr std::uint64_t analogBit = 0x0200000000000000;
constexpr std::uint64_t loggerBit = 0x0100000000000000;
constexpr std::uint64_t gpsBit = 0x0080000000000000;

/// Keys of what the logger says about itself; the two memories share one.
constexpr std::uint64_t statusKey = loggerBit;
constexpr std::uint64_t startKey = loggerBit + 1;
constexpr std::uint64_t memoryKey = loggerBit + 2;
constexpr std::uint64_t timerKey = loggerBit + 3;

/// Key of a digital or analog input: `module` is the channel of its module.
constexpr std::uint64_t key(std::uint64_t kindBit, std::uint8_t module, std::uint16_t number) {
    return kindBit + (std::uint64_t{module} << 16) + number;
}

} // namespace input

/// \file
/// Numbers as bytes, for headers that are made up byte by byte.
#pragma once

#include "Frame.h"

#include <cstdint>
#include <vector>

namespace drive {

using Octets = std::vector<std::uint8_t>;

/// Appends the low `count` bytes of `number`, the highest first: the order of networks.
inline void putBig(Octets& octets, std::uint64_t number, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        octets.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

/// The same, the lowest first.
inline void putLittle(Octets& octets, std::uint64_t number, int count) {
    for (int shift = 0; shift < 8 * count; shift += 8) {
        octets.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

/// Appends what a frame carries.
inline void putData(Octets& octets, const Frame& frame) {
    octets.insert(octets.end(), frame.data.begin(), frame.data.begin() + frame.length);
}

} // namespace drive

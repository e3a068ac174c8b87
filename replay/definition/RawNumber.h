/// \file
/// The number that a raw word stands for.
#pragma once

#include "signal/SignalDefinition.h"

#include <bit>
#include <cstdint>

namespace rksignal {

/// Before scaling: physical = number * scale + offset. Integers above 2^53 lose digits.
inline double numberOfRaw(signalValue_t type, std::uint64_t raw) {
    switch (type) {
    case signalValue_t::Unsigned:
        return static_cast<double>(raw);
    case signalValue_t::Signed:
        return static_cast<double>(static_cast<std::int64_t>(raw));
    case signalValue_t::Float:
        return double{std::bit_cast<float>(static_cast<std::uint32_t>(raw))};
    case signalValue_t::Double:
        return std::bit_cast<double>(raw);
    }
    return 0;
}

} // namespace rksignal

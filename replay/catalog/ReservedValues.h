/// \file
/// Raw values that SAE J1939-71 (section 5.1.4, tables of transmitted values) reserves for "not available"
/// and "error".
#pragma once

#include <cstdint>

namespace rksignal::j1939 {

/// The ranges at the top of what an unsigned parameter can hold. Parameters of 8, 16, 24 and 32 bits reserve
/// all values with 0xFF and 0xFE in the top byte, narrower ones (discrete states of 2 bits, for example) the
/// last value and the one before. Single bits and fields wider than 32 bits, of which the standard says
/// nothing, reserve none.
struct ReservedValues {
    std::uint64_t firstError = ~std::uint64_t{0};
    std::uint64_t firstNotAvailable = ~std::uint64_t{0};

    static constexpr ReservedValues ofWidth(int bits) {
        if (bits < 2 || bits > 32) {
            return {};
        }
        const std::uint64_t step = bits % 8 == 0 ? std::uint64_t{1} << (bits - 8) : 1;
        const std::uint64_t values = std::uint64_t{1} << bits;
        return {values - 2 * step, values - step};
    }
};

} // namespace rksignal::j1939

/// \file
/// The times of a capture's packets.
#pragma once

#include <cstdint>
#include <optional>

namespace rksignal {

/// What the time stamps of an interface count, by the options `if_tsresol` and `if_tsoffset` of pcapng.
struct TickUnit {
    std::uint8_t resolution =
        6;                   ///< a tick is 10 to the power of -resolution seconds; from 128 on a power of 2
    std::int64_t offset = 0; ///< seconds added

    bool operator==(const TickUnit&) const = default;
};

/// Nanoseconds since 1970-01-01 UTC, fractions of them cut off; nothing if that is not within 64 bits.
inline std::optional<std::uint64_t> nanosecondsOf(std::uint64_t ticks, const TickUnit& unit) {
    constexpr std::uint64_t second = 1'000'000'000;
    constexpr std::uint64_t centuries = std::uint64_t{1} << 63;
    if (unit == TickUnit{9, 0} && ticks < centuries) { // mostly: nothing is to be converted
        return ticks;
    }
    if (unit == TickUnit{6, 0} && ticks < centuries / 1000) {
        return ticks * 1000;
    }
    constexpr unsigned binary = 0x80;
    constexpr unsigned wordBits = 64;
    constexpr unsigned exactBits = 34; // a fraction of so many bits can be multiplied by 10^9
    constexpr unsigned maxDecimals = 19;
    std::uint64_t seconds = 0;
    std::uint64_t rest = ticks;
    unsigned exponent = unit.resolution & (binary - 1U);
    if (unit.resolution >= binary) {
        if (exponent >= wordBits) {
            return std::nullopt;
        }
        seconds = ticks >> exponent;
        rest = ticks - (seconds << exponent);
        if (exponent > exactBits) {
            rest >>= exponent - exactBits;
            exponent = exactBits;
        }
        rest = rest * second >> exponent;
    } else {
        if (exponent > maxDecimals) {
            return std::nullopt;
        }
        std::uint64_t perSecond = 1;
        for (unsigned i = 0; i < exponent; ++i) {
            perSecond *= 10;
        }
        seconds = ticks / perSecond;
        rest = ticks % perSecond;
        rest = perSecond <= second ? rest * (second / perSecond) : rest / (perSecond / second);
    }
    constexpr std::uint64_t maxSeconds = ~std::uint64_t{0} / second - 1;
    if (seconds > maxSeconds) {
        return std::nullopt;
    }
    const auto shifted = static_cast<std::uint64_t>(static_cast<std::int64_t>(seconds) + unit.offset);
    return shifted <= maxSeconds ? std::optional(shifted * second + rest) : std::nullopt;
}

} // namespace rksignal

/// \file
/// Seconds in text, as nanoseconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace rksignal {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

/// What the decimals at the start of `digits` are worth, which stand behind the point of a number of seconds;
/// further ones than nanoseconds are cut off. \param end set to the number of decimals
constexpr std::uint64_t decimals(std::string_view digits, std::size_t& end) {
    std::uint64_t result = 0;
    std::uint64_t unit = nanosecondsPerSecond;
    for (end = 0; end < digits.size() && digits[end] >= '0' && digits[end] <= '9'; ++end) {
        unit /= 10;
        result += unit * static_cast<unsigned>(digits[end] - '0');
    }
    return result;
}

} // namespace rksignal

#include "text/NumberText.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>

namespace rksignal {
namespace {

constexpr double integerLimit = 1e15; // below 2^53: every integer is exact

/// `00` to `99`.
constexpr std::array<char, 200> digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    }
    return pairs;
}();

/// Writes the lowest `digits` decimal digits, with leading zeros, two at a time.
template <int digits>
char* writePadded(char* out, std::uint32_t value) {
    if constexpr (digits >= 2) {
        writePadded<digits - 2>(out, value / 100);
        std::memcpy(out + digits - 2, &digitPairs[std::size_t{2} * (value % 100)], 2);
    } else if constexpr (digits == 1) {
        *out = static_cast<char>('0' + value % 10);
    }
    return out + digits;
}

char* writeHex(char* out, std::uint64_t value, int digits) {
    *out++ = '0';
    *out++ = 'x';
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        *out++ = "0123456789abcdef"[value >> shift & 0xF];
    }
    return out;
}

/// `2023-11-14T22:13:32`
char* writeDateAndClock(char* out, std::uint64_t second) {
    using namespace std::chrono;
    constexpr std::uint64_t secondsPerDay = 86'400;
    const year_month_day date{sys_days(days(static_cast<int>(second / secondsPerDay)))};
    const auto ofDay = static_cast<std::uint32_t>(second % secondsPerDay);
    char* at = writePadded<4>(out, static_cast<std::uint32_t>(int{date.year()}));
    *at++ = '-';
    at = writePadded<2>(at, unsigned{date.month()});
    *at++ = '-';
    at = writePadded<2>(at, unsigned{date.day()});
    *at++ = 'T';
    at = writePadded<2>(at, ofDay / 3600);
    *at++ = ':';
    at = writePadded<2>(at, ofDay / 60 % 60);
    *at++ = ':';
    return writePadded<2>(at, ofDay % 60);
}

/// Writes a number that has at most `digits` decimals. No two numbers of at most 15 digits are the same
/// double, so the one that gives `value` is its shortest text. Costs a division, a tenth of the general way.
/// \return null if it has more decimals, or is too great
template <int digits, std::uint64_t divisor>
char* writeDecimals(char* out, double value) {
    constexpr auto scale = static_cast<double>(divisor);
    const double magnitude = std::fabs(value);
    const double scaled = magnitude * scale + 0.5;
    if (!(scaled < integerLimit)) {
        return nullptr;
    }
    const auto whole = static_cast<std::uint64_t>(scaled);
    if (static_cast<double>(whole) / scale != magnitude) {
        return nullptr;
    }
    if (std::signbit(value)) {
        *out++ = '-';
    }
    out = std::to_chars(out, out + maxNumberText / 2, whole / divisor).ptr;
    *out++ = '.';
    out = writePadded<digits>(out, static_cast<std::uint32_t>(whole % divisor));
    while (out[-1] == '0') {
        --out;
    }
    return out;
}

} // namespace

char* writeDouble(char* out, double value) {
    char* const end = out + maxNumberText;
    const double magnitude = std::fabs(value);
    if (magnitude < integerLimit) {
        const auto integer = static_cast<std::int64_t>(value);
        if (static_cast<double>(integer) == value && (integer != 0 || !std::signbit(value))) {
            return std::to_chars(out, end, integer).ptr;
        }
        if (magnitude >= 1e-5) {
            if (char* const at = writeDecimals<3, 1'000>(out, value)) {
                return at;
            }
            if (char* const at = writeDecimals<8, 100'000'000>(out, value)) {
                return at;
            }
            return std::to_chars(out, end, value, std::chars_format::fixed).ptr;
        }
    }
    if (std::isnan(value)) { // whatever its sign
        std::memcpy(out, "nan", 3);
        return out + 3;
    }
    return std::to_chars(out, end, value).ptr;
}

std::string doubleText(double value) {
    char text[maxNumberText];
    return {text, writeDouble(text, value)};
}

char* writeRaw(char* out, std::uint64_t raw, signalValue_t type) {
    switch (type) {
    case signalValue_t::Signed:
        return std::to_chars(out, out + maxNumberText, static_cast<std::int64_t>(raw)).ptr;
    case signalValue_t::Float:
        return writeHex(out, raw & 0xFFFFFFFF, 8);
    case signalValue_t::Double:
        return writeHex(out, raw, 16);
    default:
        return std::to_chars(out, out + maxNumberText, raw).ptr;
    }
}

char* TimeText::write(char* out, std::uint64_t timestamp) {
    constexpr std::size_t mostBeforeDecimals = 20; // with the point: a date and a clock
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    if (format.style == TimeStyle::Relative) {
        const bool isBefore = timestamp < format.start;
        if (isBefore) {
            *out++ = '-';
        }
        timestamp = isBefore ? format.start - timestamp : timestamp - format.start;
    }
    const auto nanoseconds = static_cast<std::uint32_t>(timestamp % nanosecondsPerSecond);
    if (timestamp / nanosecondsPerSecond != second) {
        enterSecond(timestamp / nanosecondsPerSecond);
    }
    std::memcpy(out, text, mostBeforeDecimals);
    char* end = nanoseconds % 1000 == 0 ? writePadded<6>(out + length, nanoseconds / 1000)
                                        : writePadded<9>(out + length, nanoseconds);
    if (format.style == TimeStyle::Iso) {
        *end++ = 'Z';
    }
    return end;
}

void TimeText::enterSecond(std::uint64_t newSecond) {
    second = newSecond;
    char* const end = format.style == TimeStyle::Iso ? writeDateAndClock(text, second)
                                                     : std::to_chars(text, text + sizeof text, second).ptr;
    *end = '.';
    length = static_cast<std::size_t>(end + 1 - text);
}

std::string timeText(std::uint64_t timestamp, const TimeFormat& format) {
    char text[maxNumberText];
    return {text, TimeText(format).write(text, timestamp)};
}

} // namespace rksignal

#include "text/NumberText.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>

namespace rksignal {
namespace {

constexpr double integerLimit = 1e15; // below 2^53: every integer is exact

/// Writes `digits` decimal digits with leading zeros.
char* writePadded(char* out, std::uint64_t value, int digits) {
    for (char* at = out + digits; at != out; value /= 10) {
        *--at = static_cast<char>('0' + value % 10);
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
    const std::uint64_t ofDay = second % secondsPerDay;
    char* at = writePadded(out, static_cast<std::uint64_t>(int{date.year()}), 4);
    *at++ = '-';
    at = writePadded(at, unsigned{date.month()}, 2);
    *at++ = '-';
    at = writePadded(at, unsigned{date.day()}, 2);
    *at++ = 'T';
    at = writePadded(at, ofDay / 3600, 2);
    *at++ = ':';
    at = writePadded(at, ofDay / 60 % 60, 2);
    *at++ = ':';
    return writePadded(at, ofDay % 60, 2);
}

/// Writes a number that has at most `digits` decimals. No two numbers of at most 15 digits are the same
/// double, so the one that gives `value` is its shortest text. Costs a division, a tenth of the general way.
/// \param scale 10 to the power of `digits` \return null if it has more decimals, or is too great
char* writeDecimals(char* out, double value, double scale, int digits) {
    const double magnitude = std::fabs(value);
    const double scaled = magnitude * scale + 0.5;
    if (!(scaled < integerLimit)) {
        return nullptr;
    }
    const auto whole = static_cast<std::uint64_t>(scaled);
    if (static_cast<double>(whole) / scale != magnitude) {
        return nullptr;
    }
    const auto divisor = static_cast<std::uint64_t>(scale);
    if (std::signbit(value)) {
        *out++ = '-';
    }
    out = std::to_chars(out, out + maxNumberText / 2, whole / divisor).ptr;
    *out++ = '.';
    out = writePadded(out, whole % divisor, digits);
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
            if (char* const at = writeDecimals(out, value, 1e3, 3)) {
                return at;
            }
            if (char* const at = writeDecimals(out, value, 1e8, 8)) {
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
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    if (format.style == TimeStyle::Relative) {
        const bool isBefore = timestamp < format.start;
        if (isBefore) {
            *out++ = '-';
        }
        timestamp = isBefore ? format.start - timestamp : timestamp - format.start;
    }
    const std::uint64_t nanoseconds = timestamp % nanosecondsPerSecond;
    if (timestamp / nanosecondsPerSecond != second) {
        enterSecond(timestamp / nanosecondsPerSecond);
    }
    std::memcpy(out, text, length);
    char* end = nanoseconds % 1000 == 0 ? writePadded(out + length, nanoseconds / 1000, 6)
                                        : writePadded(out + length, nanoseconds, 9);
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

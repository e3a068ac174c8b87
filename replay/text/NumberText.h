/// \file
/// Numbers as text. Each function writes to `out`, which has room for `maxNumberText` characters, and returns
/// the end of what it wrote. None allocates or depends on the locale.
#pragma once

#include "signal/SignalDefinition.h"
#include "text/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace rksignal {

constexpr std::size_t maxNumberText = 32;

/// The shortest text that reads back as the same double: integers below 10^15 as such (`255000`), magnitudes
/// from 10^-5 to 10^15 without exponent (`0.0001`), others with (`1e-07`). `nan`, `inf`, `-inf`.
RKREPLAY_EXPORT char* writeDouble(char* out, double value);

/// The same text as a string.
RKREPLAY_EXPORT std::string doubleText(double value);

/// A raw value: decimal, with sign if the type has one; the bits of a float or double as `0x` and 8 or 16
/// hexadecimal digits.
RKREPLAY_EXPORT char* writeRaw(char* out, std::uint64_t raw, signalValue_t type);

enum class TimeStyle : std::uint8_t {
    Epoch,    ///< seconds since 1970-01-01 UTC: `1700000012.345678`
    Relative, ///< seconds since the start: `12.345678`, before it `-0.500000`
    Iso,      ///< ISO 8601, in UTC: `2023-11-14T22:13:32.345678Z`
};

/// How times are shown.
struct TimeFormat {
    TimeStyle style = TimeStyle::Epoch;
    std::uint64_t start = 0; ///< what relative times count from, in nanoseconds
};

/// Writes time stamps with 6 decimals of a second, or 9 when they are not whole microseconds. Remembers the
/// last second, which most frames share with the one before.
class RKREPLAY_EXPORT TimeText {
  public:
    explicit TimeText(const TimeFormat& format = {}) : format(format) {}

    /// `timestamp` in nanoseconds.
    char* write(char* out, std::uint64_t timestamp);
    /// Whether what it writes is no number.
    bool isText() const { return format.style == TimeStyle::Iso; }

  private:
    void enterSecond(std::uint64_t newSecond);

    TimeFormat format;
    std::uint64_t second = ~std::uint64_t{0};
    char text[maxNumberText] = {}; ///< what stands before the decimals of `second`
    std::size_t length = 0;
};

/// A single time stamp as a string.
RKREPLAY_EXPORT std::string timeText(std::uint64_t timestamp, const TimeFormat& format = {});

} // namespace rksignal

/// \file
/// The words of a line of text, and the numbers in them.
#pragma once

#include "text/ParseNumber.h"
#include "trace/log/Seconds.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace rksignal {

/// The words of a line, which blanks and tabs part, from left to right; empty behind the last one.
class LineWords {
  public:
    explicit LineWords(std::string_view line) : left(line) {}

    std::string_view next() {
        std::size_t start = 0;
        while (start < left.size() && isBlank(left[start])) {
            ++start;
        }
        std::size_t end = start;
        while (end < left.size() && !isBlank(left[end])) {
            ++end;
        }
        const std::string_view word = left.substr(start, end - start);
        left.remove_prefix(end);
        return word;
    }

    /// Reads `count` bytes to `to`. \return whether there are so many
    bool bytes(std::uint8_t* to, std::size_t count, int base) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto byte = parseNumber<std::uint8_t>(next(), base);
            if (!byte) {
                return false;
            }
            to[i] = *byte;
        }
        return true;
    }

    /// Reads bytes to `to` until a word is none or `limit` are read. \return their number
    std::size_t bytesUpTo(std::uint8_t* to, std::size_t limit, int base) {
        std::size_t count = 0;
        while (count < limit) {
            const auto byte = parseNumber<std::uint8_t>(next(), base);
            if (!byte) {
                break;
            }
            to[count++] = *byte;
        }
        return count;
    }

    std::string_view rest() const { return left; } ///< what next() has not given

  private:
    static bool isBlank(char character) { return character == ' ' || character == '\t'; }

    std::string_view left;
};

/// Whether two words differ in nothing but the case of ASCII letters.
inline bool sameWord(std::string_view left, std::string_view right) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 'a' - 'A') : letter;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

/// `NUMBER[.DECIMALS]` of a unit of `unit` nanoseconds, exactly; what is below a nanosecond is cut off.
inline std::optional<std::uint64_t> parseDuration(std::string_view text, std::uint64_t unit) {
    const auto whole = takeNumber<std::uint64_t>(text);
    if (!whole || *whole >= ~std::uint64_t{0} / unit) {
        return std::nullopt;
    }
    std::uint64_t fraction = 0;
    if (!text.empty()) {
        std::size_t end = 0;
        fraction = decimals(text.substr(1), end) / (nanosecondsPerSecond / unit);
        if (text.front() != '.' || end + 1 != text.size()) {
            return std::nullopt;
        }
    }
    return *whole * unit + fraction;
}

/// The sum of two times; nothing if it is beyond 64 bits of nanoseconds.
inline std::optional<std::uint64_t> later(std::uint64_t time, std::uint64_t distance) {
    std::uint64_t sum = 0;
    return __builtin_add_overflow(time, distance, &sum) ? std::nullopt : std::optional(sum);
}

} // namespace rksignal

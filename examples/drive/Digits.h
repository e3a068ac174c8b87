/// \file
/// Numbers as text of a fixed width.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace drive {

/// Appends the last `digits` decimal digits of `number`.
inline void putDecimal(std::string& text, std::uint64_t number, int digits) {
    text.resize(text.size() + static_cast<std::size_t>(digits));
    for (auto place = text.rbegin(); digits > 0; --digits, ++place) {
        *place = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

/// The same in hexadecimal.
inline void putHex(std::string& text, std::uint64_t number, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += "0123456789ABCDEF"[number >> shift & 15];
    }
}

} // namespace drive

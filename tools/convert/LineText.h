/// \file
/// Pieces of a line of text. Each function writes to `out` and returns the end of what it wrote.
#pragma once

#include <cstdint>
#include <string_view>

namespace rksignal {

/// The last `digits` hexadecimal digits of `value`.
inline char* writeHex(char* out, std::uint32_t value, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        *out++ = "0123456789ABCDEF"[value >> shift & 0xF];
    }
    return out;
}

inline char* writeText(char* out, std::string_view text) {
    return out + text.copy(out, text.size());
}

} // namespace rksignal

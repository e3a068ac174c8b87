/// \file
/// Two hexadecimal digits for one octet, for the text forms of the platform libraries.
#pragma once

#include <cstdint>
#include <ostream>

/// Writes `octet` as two lower-case digits. The stream's number settings neither matter nor change.
inline std::ostream& hexOctet(std::ostream& out, std::uint8_t octet) {
    constexpr char digits[] = "0123456789abcdef";
    return out.put(digits[octet >> 4]).put(digits[octet & 0xF]);
}

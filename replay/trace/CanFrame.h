/// \file
/// What ISO 11898-1 says of the identifiers and lengths of CAN frames.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rksignal {

/// With 11 and with 29 bits.
constexpr std::uint32_t greatestStandardId = 0x7FF;
constexpr std::uint32_t greatestExtendedId = 0x1FFFFFFF;

constexpr std::uint32_t greatestCanId(bool isExtended) {
    return isExtended ? greatestExtendedId : greatestStandardId;
}

/// The most bytes of a frame.
constexpr std::size_t mostCanBytes(bool isFd) {
    return isFd ? 64 : 8;
}

/// The number of bytes that a data length code stands for. Codes above 15 count as 15.
constexpr std::size_t canLengthOfCode(std::size_t code, bool isFd) {
    constexpr std::uint8_t longer[] = {12, 16, 20, 24, 32, 48, 64};
    if (code <= 8 || !isFd) {
        return code < 8 ? code : 8;
    }
    return longer[code < 15 ? code - 9 : 6];
}

/// The smallest data length code of a CAN FD frame with room for so many bytes, at most 64.
constexpr std::uint8_t codeOfCanLength(std::size_t bytes) {
    std::uint8_t code = 0;
    while (canLengthOfCode(code, true) < bytes && code < 15) {
        ++code;
    }
    return code;
}

} // namespace rksignal

/// \file
/// Hexadecimal digits in text: one, and sixteen at once.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace rksignal {

/// The value of a hexadecimal digit by character, -1 for any other character.
constexpr std::array<std::int8_t, 256> hexValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (int digit = 0; digit < 16; ++digit) {
        values[static_cast<unsigned char>("0123456789ABCDEF"[digit])] = static_cast<std::int8_t>(digit);
        values[static_cast<unsigned char>("0123456789abcdef"[digit])] = static_cast<std::int8_t>(digit);
    }
    return values;
}();

inline int hexValue(char character) {
    return hexValues[static_cast<unsigned char>(character)];
}

/// What 16 characters are as hexadecimal digits.
struct HexDigits {
    static constexpr unsigned most = 16;

    std::uint64_t bytes; ///< of two digits each, the first ones lowest; without meaning behind `count`
    unsigned count;      ///< how many of the first characters are digits without a gap
};

/// The plain way, one by one.
inline HexDigits hexDigitsOneByOne(const char* text) {
    HexDigits digits{0, 0};
    for (; digits.count < HexDigits::most && hexValue(text[digits.count]) >= 0; ++digits.count) {
        const unsigned place = 8 * (digits.count / 2) + (digits.count % 2 == 0 ? 4 : 0);
        digits.bytes |= static_cast<std::uint64_t>(hexValue(text[digits.count])) << place;
    }
    return digits;
}

/// REQUIRES: 16 characters can be read.
inline HexDigits hexDigits(const char* text) {
#ifdef __SSE2__
    const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const auto atMost = [](__m128i values, char limit) {
        return _mm_cmpeq_epi8(_mm_min_epu8(values, _mm_set1_epi8(limit)), values);
    };
    const __m128i fromZero = _mm_sub_epi8(characters, _mm_set1_epi8('0'));
    const __m128i fromA =
        _mm_sub_epi8(_mm_or_si128(characters, _mm_set1_epi8('a' - 'A')), _mm_set1_epi8('a'));
    const __m128i isDecimal = atMost(fromZero, 9);
    const __m128i isLetter = atMost(fromA, 5);
    const __m128i values = _mm_or_si128(_mm_and_si128(isDecimal, fromZero),
                                        _mm_and_si128(isLetter, _mm_add_epi8(fromA, _mm_set1_epi8(10))));
    // In each pair the first digit is the high half of a byte.
    const __m128i pairs = _mm_and_si128(_mm_or_si128(_mm_slli_epi16(values, 4), _mm_srli_epi16(values, 8)),
                                        _mm_set1_epi16(0xFF));
    const __m128i bytes = _mm_packus_epi16(pairs, pairs);
    const auto word = static_cast<std::uint64_t>(_mm_cvtsi128_si64(bytes));
    const auto isDigit = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_or_si128(isDecimal, isLetter)));
    return {word, static_cast<unsigned>(std::countr_one(isDigit))};
#else
    return hexDigitsOneByOne(text);
#endif
}

} // namespace rksignal

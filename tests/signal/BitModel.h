/// \file
/// A slow model of bit fields, bit by bit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// Bit numbers of a field, from its least significant bit to its most significant one. A little-endian field
/// climbs from its start bit; a big-endian one goes down from it, then on at the top of the next byte.
inline std::vector<int> fieldBits(int startbit, int bits, bool bigEndian) {
    std::vector<int> numbers;
    for (int number = startbit; bits > 0; --bits) {
        numbers.insert(bigEndian ? numbers.begin() : numbers.end(), number);
        number += !bigEndian ? 1 : number % 8 == 0 ? 15 : -1;
    }
    return numbers;
}

/// The value of the bits, each `moved` bytes from where `field` says. Bits outside `bytes` are zero, and so
/// are those more than 64 bits above the lowest bit of the field's last byte.
inline std::uint64_t fieldValue(std::span<const std::uint8_t> bytes, const std::vector<int>& field, int moved,
                                bool isSigned) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < field.size() && static_cast<std::size_t>(field[0] % 8) + i < 64; ++i) {
        const int number = field[i] + 8 * moved;
        const bool exists = number >= 0 && number / 8 < static_cast<int>(bytes.size());
        if (exists && (bytes[static_cast<std::size_t>(number / 8)] >> (number % 8)) % 2 == 1)
            value |= std::uint64_t{1} << i;
    }
    const std::size_t width = field.size();
    const bool negative = isSigned && width > 0 && width < 64 && (value >> (width - 1)) % 2 == 1;
    return negative ? value - (std::uint64_t{1} << width) : value;
}

/// \file
/// Arithmetic of bit fields in a payload: where a field lies and how it is cut out.
///
/// Pure functions of values. Bit n of a payload is bit n % 8 of byte n / 8, bit 0 the least significant of a
/// byte. A little-endian field runs from its start bit (its least significant bit) towards higher bits; a
/// big-endian field runs from its start bit (its most significant bit) down to bit 0 of its byte and on with
/// bit 7 of the next byte.
#pragma once

#include <cstdint>
#include <optional>

namespace bitfield {

/// Turns a bit number of the numbering above into the number of the same bit when the bits of every byte are
/// counted from the most significant one, and back: the function is its own inverse for non-negative bits.
/// Division truncates toward zero, so -1, the end of an empty field at bit 7, becomes 8.
constexpr int mirroredInByte(int bit) {
    return bit / 8 * 8 + 7 - bit % 8;
}

/// Number of the field's last bit, counted in the direction of its byte order; for a big-endian field in the
/// mirrored numbering, in which it runs upwards.
constexpr int lastBit(int startbit, int bits, bool bigEndian) {
    return (bigEndian ? mirroredInByte(startbit) : startbit) + bits - 1;
}

/// Bit number of the field's least significant bit.
constexpr int leastSignificantBit(int startbit, int bits, bool bigEndian) {
    return bigEndian ? mirroredInByte(lastBit(startbit, bits, bigEndian)) : startbit;
}

/// `bits` ones; widths above 64 count as 64.
constexpr std::uint64_t ones(int bits) {
    return bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
}

/// The top bit of a field of `bits` bits, the width taken modulo 64.
constexpr std::uint64_t signBit(int bits) {
    return std::uint64_t{1} << (static_cast<unsigned>(bits - 1) % 64);
}

/// The bytes of a payload that a field touches.
struct ByteRange {
    std::uint16_t startByte;
    std::uint8_t numBytes; ///< kept in 8 bits: a range that would be negative becomes a large number

    friend constexpr bool operator==(const ByteRange&, const ByteRange&) = default;
};

/// From the byte of `startbit` to `lastByte`.
constexpr ByteRange byteRangeTo(int lastByte, int startbit) {
    const int startByte = startbit / 8;
    return {static_cast<std::uint16_t>(startByte), static_cast<std::uint8_t>(1 + lastByte - startByte)};
}

constexpr ByteRange byteRange(int startbit, int bits, bool bigEndian) {
    const int end = lastBit(startbit, bits, bigEndian);
    return byteRangeTo((bigEndian ? mirroredInByte(end) : end) / 8, startbit);
}

/// The widest byte range that the 64-bit codec takes.
constexpr int maxRangeBytes = 8;

/// The word with its bytes in the opposite order.
constexpr std::uint64_t swapped(std::uint64_t word) {
    return __builtin_bswap64(word);
}

/// Number by which the payload's first 8 bytes, taken as a word in the field's byte order, are shifted right
/// to bring the field's least significant bit to bit 0; negative for a big-endian field that ends past them.
constexpr int shiftToBitZero(int lsb, bool bigEndian) {
    return bigEndian ? 8 * (7 - lsb / 8) + lsb % 8 : lsb;
}

/// The unsigned value of the field of `mask` whose least significant bit is bit `lsb`, from the payload's
/// first 8 bytes (byte 0 least significant). Bytes that the payload does not have read as zero, on either
/// side: past byte 7, and before byte 0 for a big-endian field that is too wide for its place.
constexpr std::uint64_t extract(std::uint64_t payload, int lsb, std::uint64_t mask, bool bigEndian) {
    const std::uint64_t word = bigEndian ? swapped(payload) : payload;
    const int shift = shiftToBitZero(lsb, bigEndian);
    if (shift >= 0) {
        return shift < 64 ? (word >> shift) & mask : 0;
    }
    // Whole bytes first: what they push out at the top is lost even if the bit shift would bring it back.
    const int bitShift = lsb % 8;
    const int byteShift = bitShift - shift;
    return byteShift < 64 ? ((word << byteShift) >> bitShift) & mask : 0;
}

/// `value` with the bits above `mask` set if its bit `sign` is.
constexpr std::uint64_t signExtended(std::uint64_t value, std::uint64_t mask, std::uint64_t sign) {
    return (value & sign) != 0 ? value | ~mask : value;
}

/// A field that lies wholly in the payload's first 8 bytes, cut out by two shifts: the short form of
/// `extract` and `signExtended` for the receive path.
struct WordField {
    std::uint8_t left;  ///< brings the field's top bit to bit 63
    std::uint8_t right; ///< brings its least significant bit from there to bit 0; 64 less the width

    constexpr std::uint64_t operator()(std::uint64_t wordInItsByteOrder, bool isSigned) const {
        const std::uint64_t top = wordInItsByteOrder << left;
        return isSigned ? static_cast<std::uint64_t>(static_cast<std::int64_t>(top) >> right) : top >> right;
    }
};

/// The field in that form, or nothing if it is empty, wider than 64 bits or not wholly in the word.
constexpr std::optional<WordField> wordField(int lsb, int bits, bool bigEndian) {
    const int shift = shiftToBitZero(lsb, bigEndian);
    if (bits < 1 || bits > 64 || shift < 0 || shift > 64 - bits) {
        return std::nullopt;
    }
    return WordField{static_cast<std::uint8_t>(64 - bits - shift), static_cast<std::uint8_t>(64 - bits)};
}

/// The field's bits as they lie in the first 8 payload bytes, read as a word with byte 0 least significant.
/// `numBytes` bytes hold the field, from `startByte`, which holds its least significant bit at `shift`,
/// towards higher bytes, or towards lower ones for a big-endian field.
constexpr std::uint64_t maskInPayload(std::uint64_t mask, int startByte, int shift, int numBytes,
                                      bool bigEndian) {
    std::uint64_t field = mask << shift;
    std::uint64_t inPayload = 0;
    for (int i = 0; i < numBytes; ++i, field >>= 8) {
        const int byte = bigEndian ? startByte - i : startByte + i;
        if (byte >= 0 && byte < 8) {
            inPayload |= (field & 0xFF) << (8 * byte);
        }
    }
    return inPayload;
}

} // namespace bitfield

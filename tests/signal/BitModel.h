/// \file
/// A slow model of bit fields, bit by bit.
#pragma once

#include <cstdint>
#include <initializer_list>

/// A field as its definition places it. A little-endian field climbs from its start bit; a big-endian field
/// starts at its most significant bit and goes down in the byte, then on at the top of the next byte.
struct BitModel {
    int startbit, bits;
    bool bigEndian;
    int lsb, firstByte, lastByte;

    BitModel(int startbit, int bits, bool bigEndian)
        : startbit(startbit), bits(bits), bigEndian(bigEndian), lsb(startbit), firstByte(startbit / 8) {
        int bit = startbit;
        for (int i = 1; i < bits; ++i)
            bit = !bigEndian ? bit + 1 : bit % 8 == 0 ? bit + 15 : bit - 1;
        lastByte = bit / 8;
        lsb = bigEndian ? bit : startbit;
    }

    /// Bit `i` of the field, found from its least significant bit, whose number is kept in 8 bits. There is
    /// nothing outside the 8 bytes of the payload, nor in a ninth byte of the field.
    std::uint64_t bit(int i, std::uint64_t payload) const {
        const int place = lsb % 256 % 8 + i;
        const int byte = lsb % 256 / 8 + (bigEndian ? -place / 8 : place / 8);
        const bool exists = i < 64 && place < 64 && byte >= 0 && byte < 8;
        return exists ? payload & std::uint64_t{1} << (8 * byte + place % 8) : 0;
    }
    std::uint64_t inPlace(std::uint64_t payload = ~std::uint64_t{0}) const {
        std::uint64_t word = 0;
        for (int i = 0; i < bits; ++i)
            word |= bit(i, payload);
        return word;
    }
    std::uint64_t ones() const {
        std::uint64_t word = 0;
        for (int i = 0; i < bits && i < 64; ++i)
            word |= std::uint64_t{1} << i;
        return word;
    }
    std::uint64_t sign() const { return std::uint64_t{1} << (bits - 1) % 64; }
    std::uint64_t extracted(std::uint64_t payload, bool isSigned) const {
        std::uint64_t value = 0;
        for (int i = 0; i < bits && i < 64; ++i)
            value |= bit(i, payload) != 0 ? std::uint64_t{1} << i : 0;
        return isSigned && (value & sign()) != 0 ? value | ~ones() : value;
    }
};

/// All ones, alternating bits, numbered bytes, and any.
constexpr std::uint64_t payloads[] = {~std::uint64_t{0}, 0xAAAAAAAAAAAAAAAA, 0x0807060504030201,
                                      0x9C3F5B17E2D086A4};

/// Calls `check(model)` for fields of all places and widths, some of which no definition should have, until
/// it returns false.
template <class Check>
void forEveryField(Check check) {
    for (const bool bigEndian : {false, true})
        for (int startbit = 0; startbit < 530; ++startbit)
            for (int bits = 1; bits <= 255; bits += bits < 73 ? 1 : 13)
                if (!check(BitModel(startbit, bits, bigEndian)))
                    return;
}

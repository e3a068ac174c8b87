/// \file
/// How numbers get into bytes and into text.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace drive {

using Octets = std::vector<std::uint8_t>;

/// Appends the low `count` bytes of `number`, the highest first: the order of networks.
inline void putBig(Octets& octets, std::uint64_t number, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        octets.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

/// The same, the lowest first.
inline void putLittle(Octets& octets, std::uint64_t number, int count) {
    for (int shift = 0; shift < 8 * count; shift += 8) {
        octets.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

/// Appends the last `digits` decimal digits of `number`.
inline void putDecimal(std::string& text, std::uint64_t number, int digits) {
    text.resize(text.size() + static_cast<std::size_t>(digits));
    for (auto place = text.rbegin(); digits > 0; --digits, ++place, number /= 10) {
        *place = static_cast<char>('0' + number % 10);
    }
}

/// The same in hexadecimal.
inline void putHex(std::string& text, std::uint64_t number, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += "0123456789ABCDEF"[number >> shift & 15];
    }
}

/// Where a number lies in a payload, and how it is scaled: physical = raw * scale + offset.
///
/// `byte` and `bit` (7 is a byte's highest) are those of the lowest bit in little-endian order and of the
/// highest bit in big-endian order; from there the number goes on through the following bytes.
struct Field {
    enum class Order : std::uint8_t { Little, Big } order;
    int byte, bit, width;
    bool isSigned = false;
    double scale = 1;
    double offset = 0;
};

/// The payload of a frame or of a PDU.
struct Payload {
    std::uint8_t length = 0; ///< bytes
    std::array<std::uint8_t, 64> data{};

    /// Puts the low `field.width` bits of `raw` into bits that are zero so far.
    void putRaw(const Field& field, std::uint64_t raw) {
        raw &= ~std::uint64_t{0} >> (64 - field.width);
        const bool little = field.order == Field::Order::Little;
        const int skipped = little ? field.bit : 7 - field.bit; // bits of the first byte, before the number
        const int bytes = (skipped + field.width + 7) / 8;
        raw <<= little ? skipped : 8 * bytes - skipped - field.width;
        for (int i = 0; i < bytes; ++i) {
            data[static_cast<std::size_t>(field.byte + i)] |=
                static_cast<std::uint8_t>(raw >> (8 * (little ? i : bytes - 1 - i)));
        }
    }
    /// Puts the raw number nearest to a physical value, or the nearest one that the field can hold.
    void put(const Field& field, double physical) {
        const double steps = std::floor((physical - field.offset) / field.scale + 0.5);
        const double range =
            static_cast<double>(std::uint64_t{1} << (field.width - (field.isSigned ? 1 : 0)));
        const double held = std::clamp(steps, field.isSigned ? -range : 0.0, range - 1);
        putRaw(field, static_cast<std::uint64_t>(static_cast<std::int64_t>(held)));
    }
    void putFlag(int byte, int bit, bool value) {
        putRaw({Field::Order::Little, byte, bit, 1}, value ? 1 : 0);
    }
    /// Puts an IEEE 754 single (`width` 32) or double (64).
    void putFloat(const Field& field, double physical) {
        putRaw(field, field.width == 32 ? std::bit_cast<std::uint32_t>(static_cast<float>(physical))
                                        : std::bit_cast<std::uint64_t>(physical));
    }
    void appendTo(Octets& octets) const { octets.insert(octets.end(), data.begin(), data.begin() + length); }
};

} // namespace drive

/// \file
/// A CAN frame of the demo's drive, and how a physical value gets into its bytes.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace drive {

enum class FrameKind : std::uint8_t { Data, FdData, Remote, Error };

struct Frame {
    std::uint64_t microseconds = 0; ///< since 1970-01-01 UTC
    std::uint8_t bus = 0;           ///< 0 powertrain, 1 body
    FrameKind kind = FrameKind::Data;
    bool extended = false; ///< 29-bit identifier
    std::uint32_t id = 0;
    std::uint8_t length = 0; ///< bytes
    std::array<std::uint8_t, 64> data{};
};

/// Where a number lies in a frame, and how it is scaled: physical = raw * scale + offset.
///
/// `byte` and `bit` (7 is a byte's highest) are those of the lowest bit in little-endian order and of the
/// highest bit in big-endian order; from there the number goes on through the following bytes.
struct Field {
    enum class Order : std::uint8_t { Little, Big } order;
    std::uint8_t byte, bit, width;
    bool isSigned = false;
    double scale = 1;
    double offset = 0;
};

/// Puts the low `field.width` bits of `raw` into bits of `frame` that are zero so far.
constexpr void putRaw(Frame& frame, const Field& field, std::uint64_t raw) {
    raw &= field.width == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << field.width) - 1;
    const bool little = field.order == Field::Order::Little;
    // Bits of the first byte that lie outside the number, before its start.
    const int skipped = little ? field.bit : 7 - field.bit;
    const int bytes = (skipped + field.width + 7) / 8;
    raw <<= little ? skipped : 8 * bytes - skipped - field.width;
    for (int i = 0; i < bytes; ++i) {
        const int up = little ? i : bytes - 1 - i;
        std::uint8_t& byte = frame.data[std::size_t{field.byte} + static_cast<std::size_t>(i)];
        byte = static_cast<std::uint8_t>(byte | raw >> (8 * up));
    }
}

/// Puts the raw number nearest to a physical value, or the nearest one that the field can hold.
inline void put(Frame& frame, const Field& field, double physical) {
    const double steps = std::floor((physical - field.offset) / field.scale + 0.5);
    const double range = static_cast<double>(std::uint64_t{1} << (field.width - (field.isSigned ? 1 : 0)));
    const double held = std::clamp(steps, field.isSigned ? -range : 0.0, range - 1);
    putRaw(frame, field, static_cast<std::uint64_t>(static_cast<std::int64_t>(held)));
}

inline void putFlag(Frame& frame, std::uint8_t byte, std::uint8_t bit, bool value) {
    putRaw(frame, {Field::Order::Little, byte, bit, 1}, value ? 1 : 0);
}

/// Puts an IEEE 754 single (`width` 32) or double (64) of the field's byte order.
inline void putFloat(Frame& frame, const Field& field, double physical) {
    putRaw(frame, field,
           field.width == 32 ? std::bit_cast<std::uint32_t>(static_cast<float>(physical))
                             : std::bit_cast<std::uint64_t>(physical));
}

} // namespace drive

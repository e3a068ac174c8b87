/// \file
/// A received frame as its decoder sees it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// A received frame as its bus sees it.
struct ReceivedFrame {
    std::span<const std::uint8_t> bytes;   ///< all that may be read
    std::size_t length = 0;                ///< a byte range that ends behind it was not received
    std::uint64_t timestamp = 0;           ///< nanoseconds since 1970-01-01 UTC
    std::uint64_t firstWord = 0;           ///< what signals of the whole frame see, byte 0 least significant
    std::optional<std::size_t> origin = 0; ///< where byte ranges begin to count; nothing: no signal is there

    bool holdsRange(std::size_t start, std::size_t count) const {
        return start <= length && count <= length - start;
    }
    /// A bit past the frame is clear.
    bool isSet(std::size_t bit) const {
        return bit / 8 < bytes.size() && (bytes[bit / 8] >> bit % 8 & 1) != 0;
    }
};

/// \file
/// Words in sequences of bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// The 8 bytes from `start` on as a word, byte 0 least significant; those past the end of `bytes` are zero.
template <std::size_t extent>
std::uint64_t wordAt(std::span<const std::uint8_t, extent> bytes, std::size_t start) {
    std::uint64_t word = 0;
    if (bytes.size() >= sizeof word && start <= bytes.size() - sizeof word) [[likely]] {
        std::memcpy(&word, bytes.data() + start, sizeof word);
    } else if (start < bytes.size()) {
        std::memcpy(&word, bytes.data() + start, bytes.size() - start);
    }
    return word;
}

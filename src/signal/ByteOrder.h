/// \file
/// Words in sequences of bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// As `wordAt`, of fewer bytes than a word has.
[[gnu::noinline]] inline std::uint64_t shortWordAt(std::span<const std::uint8_t> bytes, std::size_t start) {
    std::uint64_t word = 0;
    if (start < bytes.size()) {
        std::memcpy(&word, bytes.data() + start, bytes.size() - start);
    }
    return word;
}

/// The 8 bytes from `bytes` on as a word, byte 0 least significant. REQUIRES: they may be read.
inline std::uint64_t wholeWordAt(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The 8 bytes from `start` on as a word, byte 0 least significant; those past the end of `bytes` are zero.
template <std::size_t extent>
std::uint64_t wordAt(std::span<const std::uint8_t, extent> bytes, std::size_t start) {
    constexpr std::size_t wordSize = sizeof(std::uint64_t);
    if (bytes.size() < wordSize) [[unlikely]] {
        return shortWordAt(bytes, start);
    }
    const std::size_t last = bytes.size() - wordSize; // where the last whole word begins
    const std::uint64_t word = wholeWordAt(bytes.data() + std::min(start, last));
    if (start > last) [[unlikely]] {
        return start < bytes.size() ? word >> 8 * (start - last) : 0;
    }
    return word;
}

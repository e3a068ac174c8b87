/// \file
/// Numbers in sequences of bytes: big-endian ones of trace records, network headers and PDUs, little-endian
/// ones of files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

/// The `count` bytes from `bytes` on, 1 to 8, as a number, the first byte most significant: 32 bits wide, or
/// 64 if there are more than 4 bytes. REQUIRES: so many bytes may be read. Compilers make a single load of
/// it.
template <std::size_t count>
constexpr auto bigEndian(const std::uint8_t* bytes) {
    static_assert(count >= 1 && count <= sizeof(std::uint64_t));
    using Number = std::conditional_t<count <= sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
    return [bytes]<std::size_t... i>(std::index_sequence<i...>) {
        return ((Number{bytes[i]} << (8 * (count - 1 - i))) | ...);
    }
    (std::make_index_sequence<count>());
}

/// The same with the last byte most significant.
template <std::size_t count>
constexpr auto littleEndian(const std::uint8_t* bytes) {
    static_assert(count >= 1 && count <= sizeof(std::uint64_t));
    using Number = std::conditional_t<count <= sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
    return [bytes]<std::size_t... i>(std::index_sequence<i...>) {
        return ((Number{bytes[i]} << (8 * i)) | ...);
    }
    (std::make_index_sequence<count>());
}

/// \file
/// What a 29-bit identifier says in SAE J1939 networks (SAE J1939-21, section 5.2): priority, parameter
/// group, destination and source address.
///
///     bits 28-26  priority
///     bits 25-24  extended data page, data page
///     bits 23-16  PDU format (PF)
///     bits 15-8   PDU specific (PS): the destination address if PF < 240 (PDU1), else part of the group
///     (PDU2) bits  7-0   source address
#pragma once

#include <cstdint>

namespace rksignal::j1939 {

constexpr std::uint8_t globalAddress = 0xFF; ///< as a destination: everybody
constexpr std::uint8_t nullAddress = 0xFE;   ///< as the source in a definition: any

constexpr std::uint8_t sourceOf(std::uint32_t id) {
    return static_cast<std::uint8_t>(id);
}

/// The PDU specific field: of PDU1 the destination.
constexpr std::uint8_t pduSpecificOf(std::uint32_t id) {
    return static_cast<std::uint8_t>(id >> 8);
}

/// Whether the identifier has a destination.
constexpr bool isPdu1(std::uint32_t id) {
    return (id >> 16 & 0xFF) < 240;
}

/// The parameter group number (PGN), 18 bits.
constexpr std::uint32_t groupOf(std::uint32_t id) {
    const std::uint32_t group = id >> 8 & 0x3FFFF;
    return isPdu1(id) ? group & ~std::uint32_t{0xFF} : group;
}

/// Parameter group and source address: what decides which definition a frame has. 26 bits.
constexpr std::uint32_t groupAndSource(std::uint32_t id) {
    return groupOf(id) << 8 | sourceOf(id);
}

/// The identifier of a parameter group that `source` sends to `destination`, with priority 0.
constexpr std::uint32_t identifier(std::uint32_t group, std::uint8_t destination, std::uint8_t source) {
    const std::uint32_t id = (group & 0x3FFFF) << 8 | source;
    return isPdu1(id) ? (id & ~std::uint32_t{0xFF00}) | std::uint32_t{destination} << 8 : id;
}

} // namespace rksignal::j1939

/// \file
/// The buses and inputs that signals come from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace rksignal {

enum class SignalKind : std::uint8_t {
    Can,
    Lin,
    FlexRay,
    Ethernet,
    Digital,
    Analog,
    Keyboard,
    Status,
    Gps,
};

constexpr std::size_t signalKinds = 9; ///< number of them

/// As definition files and rows name the kind.
constexpr std::string_view kindName(SignalKind kind) {
    constexpr std::array<std::string_view, signalKinds> names = {
        "can", "lin", "flexray", "ethernet", "digital", "analog", "keyboard", "status", "gps"};
    return names[static_cast<std::size_t>(kind)];
}

} // namespace rksignal

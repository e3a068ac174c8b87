/// \file
/// The number that a raw word stands for, and the text of such a number.
#pragma once

#include "signal/SignalDefinition.h"

#include <bit>
#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// Before scaling: physical = number * scale + offset. Integers above 2^53 lose digits.
inline double numberOfRaw(signalValue_t type, std::uint64_t raw) {
    switch (type) {
    case signalValue_t::Unsigned:
        return static_cast<double>(raw);
    case signalValue_t::Signed:
        return static_cast<double>(static_cast<std::int64_t>(raw));
    case signalValue_t::Float:
        return double{std::bit_cast<float>(static_cast<std::uint32_t>(raw))};
    case signalValue_t::Double:
        return std::bit_cast<double>(raw);
    }
    return 0;
}

/// The raw word that stands for a number; nothing if none does. Of integers above 2^53 the digits that
/// numberOfRaw() has left are 0.
inline std::optional<std::uint64_t> rawOfNumber(signalValue_t type, double number) {
    switch (type) {
    case signalValue_t::Unsigned:
        return number >= 0 && number < 0x1p64 ? std::optional(static_cast<std::uint64_t>(number))
                                              : std::nullopt;
    case signalValue_t::Signed:
        return number >= -0x1p63 && number < 0x1p63
                   ? std::optional(static_cast<std::uint64_t>(static_cast<std::int64_t>(number)))
                   : std::nullopt;
    case signalValue_t::Float:
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    case signalValue_t::Double:
        return std::bit_cast<std::uint64_t>(number);
    }
    return std::nullopt;
}

/// The text of the raw word that stands for a number, or null. Takes no time if the signal has no texts.
inline const std::string* textOfNumber(const baseSignalDef_t& signal, double number) {
    if (signal.valueDescriptions.empty()) {
        return nullptr;
    }
    const std::optional<std::uint64_t> raw = rawOfNumber(signal.type, number);
    const auto entry = raw ? signal.valueDescriptions.find(*raw) : signal.valueDescriptions.end();
    return entry != signal.valueDescriptions.end() ? &entry->second : nullptr;
}

} // namespace rksignal

/// \file
/// Neighbouring signals of a frame that are there together or not at all.
#pragma once

#include <cstdint>

/// Signals of one place after the other that depend on the same update bit, PDU or message, or on nothing:
/// what they depend on is looked for once. `search` and `sought` are those of each signal's FieldPlace.
struct FieldRun {
    std::uint32_t sought;
    std::uint32_t end; ///< behind the last byte of their ranges, from where these begin to count
    std::uint32_t count;
    std::uint16_t lastStart; ///< of these ranges
    std::uint8_t search;
    bool conditional;

    /// Whether all ranges lie in the first 8 bytes from where they begin to count.
    bool isInWord() const { return end <= 8; }
};

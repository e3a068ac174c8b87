/// \file
/// Signals of a frame that are there together or not at all.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

class FieldWriter;

/// Signals that depend on the same update bit, PDU or message, or on nothing: what they depend on is looked
/// for once. `conditional`, `search` and `sought` are those of each signal's FieldPlace.
struct FieldRun {
    std::uint32_t sought;
    std::uint32_t reach; ///< behind the last byte that is read, from where their ranges begin to count
    std::uint32_t first; ///< of them, as they are stored; the last one stands before the next run's first
    std::uint8_t search;
    bool conditional;

    /// Whether all are taken from the first 8 bytes.
    bool isInWord() const { return reach <= 8; }
};

/// In which order the signals of a frame are stored: first those that are always there, then run by run,
/// those of each kind of chain by their identifiers. They are reported in the order of their list all the
/// same.
struct StoringOrder {
    std::vector<std::uint32_t> places; ///< in the list of signals, in the order of storing
    std::vector<FieldRun> runs;        ///< behind the last one a run that only ends it

    StoringOrder() = default;
    /// `wordsOfRuns`: fields that all lie in one word are taken from that one, not each from its own.
    /// REQUIRES: no two signals have the same slot, whose last writer would be another one.
    StoringOrder(std::span<const FieldWriter> writers, bool wordsOfRuns);
};

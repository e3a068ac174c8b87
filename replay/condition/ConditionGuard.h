/// \file
/// What the raw value of one signal says about a condition before it is evaluated.
#pragma once

#include "condition/ExpressionTree.h"

#include <cstdint>

namespace rksignal {

/// Raw values from `low` to `high`, in their order as numbers: signed ones come with their sign bit turned.
struct RawInterval {
    std::uint64_t low = 1;
    std::uint64_t high = 0; ///< below `low`: there are none

    bool holds(std::uint64_t raw) const { return low <= raw && raw <= high; }
    bool isEmpty() const { return low > high; }
};

/// Raw values from `first` up to `span` more, behind the greatest one going on with the least: an interval in
/// every order of them, signed or not. At least one.
struct RawArc {
    std::uint64_t first = 0;
    std::uint64_t span = 0;

    bool holds(std::uint64_t raw) const { return raw - first <= span; }
};

/// The shorter one of the two arcs that begin as `one` or `other` does and hold both.
RawArc hull(RawArc one, RawArc other);

/// A comparison that a condition needs to be true, turned into raw values: as long as the signal has a value
/// and its raw one lies outside, the condition is false, whatever its other signals are. Most conditions are
/// false most of the time, so that two comparisons of integers stand for the evaluation.
struct ConditionGuard {
    BaseSignal* signal = nullptr; ///< private, of an integer type; null: there is no guard
    RawInterval raws = {};
    bool decides = false; ///< inside, the condition is true: there is nothing else in it

    /// What turns raw values so that they can be looked up in `raws`.
    std::uint64_t turn() const;
    /// `raws` as they are in the slot. REQUIRES: there are some
    RawArc arc() const;
};

/// The guard of the whole expression; none if that can never be true. Exact: the limits are found by
/// computing the physical values as the signal does. Takes some hundred steps a comparison.
ConditionGuard guardOf(const ExpressionTree& tree);

} // namespace rksignal

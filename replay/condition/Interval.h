/// \file
/// Bounds of what an expression can come to.
///
/// Rounding never changes the order of two numbers, so the bounds of a result, rounded like every result,
/// hold exactly: nothing needs to be widened for safety.
#pragma once

#include "condition/ExpressionTree.h"

#include <limits>

namespace rksignal {

/// All known values lie from `low` to `high`, infinities included; truth is 1, falsehood 0. Empty when the
/// value can never be known. Never holds NaN.
struct Interval {
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();

    static constexpr Interval none() {
        return {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    }
    /// One value; none for NaN.
    static constexpr Interval of(double value) { return value == value ? Interval{value, value} : none(); }

    constexpr bool isEmpty() const { return low > high; }
    constexpr bool isSingle() const { return low == high; }
    constexpr bool holds(double value) const { return low <= value && value <= high; }
    /// Whether it bounds nothing.
    constexpr bool isEverything() const {
        return low == -std::numeric_limits<double>::infinity() &&
               high == std::numeric_limits<double>::infinity();
    }
};

/// The bounds of `kind` applied to operands within `left` and `right`; of a unary operator, to `left`. They
/// may be wider than need be, never too narrow.
/// REQUIRES: `kind` has operands
Interval bounds(Operator kind, Interval left, Interval right);

} // namespace rksignal

/// \file
/// The axis of values of a panel.
#pragma once

#include <string>
#include <vector>

namespace rksignal {

struct ValueTick {
    double value;
    std::string text;
};

struct ValueAxis {
    double low = 0; ///< finite, less than `high`
    double high = 1;
    std::vector<ValueTick> ticks; ///< ascending, within both

    /// Where a value lies, from 0 at `low` to 1 at `high`. Infinite values lie at the ends.
    double position(double value) const;
};

/// An axis that holds both values, which are finite, and a little more, with ticks at multiples of 1, 2 or 5
/// times a power of ten, at most `mostTicks`, which is at least 2. Equal values lie in the middle. With
/// `wholeNumbers` no tick lies between integers.
ValueAxis valueAxis(double least, double greatest, unsigned mostTicks, bool wholeNumbers = false);

/// A value for a caption, with at most 7 digits.
std::string valueText(double value);

} // namespace rksignal

#include "condition/Interval.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace rksignal {
namespace {

Interval truth(bool canBeFalse, bool canBeTrue) {
    if (!canBeFalse && !canBeTrue) {
        return Interval::none();
    }
    return {canBeFalse ? 0.0 : 1.0, canBeTrue ? 1.0 : 0.0};
}

Interval negation(Interval a) {
    return {-a.high, -a.low};
}

Interval sum(Interval a, Interval b) {
    const Interval result{a.low + b.low, a.high + b.high};
    // Opposite infinities have no sum, but what is finite on one side has.
    return {std::isnan(result.low) ? Interval().low : result.low,
            std::isnan(result.high) ? Interval().high : result.high};
}

/// The bounds of a function of two numbers that is greatest and least at ends of its operands' ranges. Where
/// it has no value at an end, as 0 times infinity, what comes near that end comes near 0.
template <typename Function>
Interval fromEnds(Interval a, Interval b, Function function) {
    std::array ends{function(a.low, b.low), function(a.low, b.high), function(a.high, b.low),
                    function(a.high, b.high)};
    std::replace_if(
        ends.begin(), ends.end(), [](double end) { return std::isnan(end); }, 0.0);
    const auto [low, high] = std::minmax_element(ends.begin(), ends.end());
    return {*low, *high};
}

Interval quotient(Interval a, Interval b) {
    return b.holds(0) ? Interval() : fromEnds(a, b, [](double x, double y) { return x / y; });
}

/// Of unsigned 64-bit integers: a dividend or divisor of -1 and less becomes a large number.
Interval remainder(Interval a, Interval b) {
    double high = 0x1p64;
    if (b.low > -1) {
        if (b.high < 1) { // truncates to 0
            return Interval::none();
        }
        high = std::min(high, std::trunc(b.high) - 1);
    }
    if (a.low > -1) {
        high = std::min(high, std::max(std::trunc(a.high), 0.0));
    }
    return {0, high};
}

Interval less(Interval a, Interval b) {
    return truth(a.high >= b.low, a.low < b.high);
}

Interval lessOrEqual(Interval a, Interval b) {
    return truth(a.high > b.low, a.low <= b.high);
}

Interval equal(Interval a, Interval b) {
    const bool alwaysSame = a.isSingle() && b.isSingle() && a.low == b.low;
    return truth(!alwaysSame, a.low <= b.high && b.low <= a.high);
}

bool canBeZero(Interval a) {
    return a.holds(0);
}

bool canBeOther(Interval a) {
    return !a.isEmpty() && (a.low < 0 || a.high > 0);
}

Interval logicalNot(Interval a) {
    return truth(canBeOther(a), canBeZero(a));
}

/// A zero decides, whether the other is known or not.
Interval logicalAnd(Interval a, Interval b) {
    return truth(canBeZero(a) || canBeZero(b), canBeOther(a) && canBeOther(b));
}

/// A positive number decides, whether the other is known or not.
Interval logicalOr(Interval a, Interval b) {
    return truth(canBeZero(a) && canBeZero(b), canBeOther(a) || canBeOther(b));
}

Interval ofNumbers(Operator kind, Interval a, Interval b) {
    switch (kind) {
    case Operator::Plus:
        return sum(a, b);
    case Operator::Minus:
        return sum(a, negation(b));
    case Operator::Multiply:
        return fromEnds(a, b, [](double x, double y) { return x * y; });
    case Operator::Divide:
        return quotient(a, b);
    case Operator::Modulo:
        return remainder(a, b);
    case Operator::Less:
        return less(a, b);
    case Operator::Greater:
        return less(b, a);
    case Operator::LessEqual:
        return lessOrEqual(a, b);
    case Operator::GreaterEqual:
        return lessOrEqual(b, a);
    case Operator::Equal:
    case Operator::BoolEqual:
        return equal(a, b);
    default:
        return logicalNot(equal(a, b));
    }
}

} // namespace

Interval bounds(Operator kind, Interval left, Interval right) {
    switch (kind) {
    case Operator::Truth:
        return left;
    case Operator::Negate:
        return negation(left);
    case Operator::Not:
        return logicalNot(left);
    case Operator::And:
        return logicalAnd(left, right);
    case Operator::Or:
        return logicalOr(left, right);
    default:
        return left.isEmpty() || right.isEmpty() ? Interval::none() : ofNumbers(kind, left, right);
    }
}

} // namespace rksignal

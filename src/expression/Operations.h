/// \file
/// The operations of the expression machine: one table, from which everything else is made.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

/// NAME(operation, result): unary operations compute on b, binary ones on a and b. Unknown is NaN.
// clang-format off
#define EXP_UNARY_OPERATIONS(NAME) \
    NAME(opneg, -b)                \
    NAME(opnz, b)                  \
    NAME(opnot, isUnknown(b) ? unknown : b == 0)
#define EXP_BINARY_OPERATIONS(NAME)            \
    NAME(opplus, a + b)                        \
    NAME(opminus, a - b)                       \
    NAME(opmult, a * b)                        \
    NAME(opdiv, a / b)                         \
    NAME(opmod, remainder(a, b))               \
    NAME(opexp, std::pow(a, b))                \
    EXP_COMPARISON_OPERATIONS(NAME)            \
    NAME(opbeq, ifKnown(a, b, a == b))         \
    NAME(opbne, ifKnown(a, b, a != b))         \
    NAME(oplor, logicalOr(a, b))               \
    NAME(opland, logicalAnd(a, b))
// of numbers
#define EXP_COMPARISON_OPERATIONS(NAME)        \
    NAME(oplt, ifKnown(a, b, a < b))           \
    NAME(opgt, ifKnown(a, b, a > b))           \
    NAME(ople, ifKnown(a, b, a <= b))          \
    NAME(opge, ifKnown(a, b, a >= b))          \
    NAME(opdeq, ifKnown(a, b, a == b))         \
    NAME(opdne, ifKnown(a, b, a != b))
// clang-format on

namespace operation {

inline constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

inline bool isUnknown(double value) {
    return value != value;
}

inline double ifKnown(double a, double b, bool result) {
    return isUnknown(a) || isUnknown(b) ? unknown : result;
}

inline double logicalOr(double a, double b) {
    if (isUnknown(a) || isUnknown(b)) {
        return a > 0 || b > 0 ? 1 : unknown; // not "!= 0": a negative number does not decide
    }
    return a != 0 || b != 0;
}

inline double logicalAnd(double a, double b) {
    if (a == 0 || b == 0) {
        return 0;
    }
    return isUnknown(a) || isUnknown(b) ? unknown : 1;
}

/// Whether `value` fits a 64-bit integer, signed or unsigned.
inline bool isInteger64(double value) {
    return value >= -0x1p63 && value < 0x1p64;
}

/// `value` truncated, a negative one modulo 2^64. REQUIRES: isInteger64(value)
inline std::uint64_t toInteger64(double value) {
    return value < 0 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value))
                     : static_cast<std::uint64_t>(value);
}

inline double remainder(double a, double b) {
    if (!isInteger64(a) || !isInteger64(b) || toInteger64(b) == 0) {
        return unknown;
    }
    return static_cast<double>(toInteger64(a) % toInteger64(b));
}

#define EXP_FUNCTION(name, result)                                                                           \
    inline double name([[maybe_unused]] double a, double b) {                                                \
        return result;                                                                                       \
    }
EXP_UNARY_OPERATIONS(EXP_FUNCTION)
EXP_BINARY_OPERATIONS(EXP_FUNCTION)
#undef EXP_FUNCTION

} // namespace operation

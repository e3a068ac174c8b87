/// \file
/// The points of a curve as a page holds them.
#pragma once

#include "curve/Curve.h"

#include <cstdint>
#include <span>
#include <string>

namespace rksignal {

/// How the values of a packed curve are written.
enum class PackedValues {
    Differences, ///< of integers
    Doubles,     ///< as they are
};

/// Appends the points to `bytes`:
/// - the times, in whole microseconds since `start`, each as the difference from the one before, the first
/// one from
///   0, in unsigned LEB128 (DWARF 5, 7.6);
/// - Differences: a bitmap of one bit a point, bit i % 8 of byte i / 8 for point i, set where the curve
/// breaks, that
///   is, where there is no value; then the difference of each value from the one before, the first one from
///   0, in zigzag form (2n, or -2n - 1 of negative ones) as unsigned LEB128, none for breaks;
/// - Doubles: 8 bytes each, little endian, a NaN for breaks.
///
/// No number exceeds 2^53, so that JavaScript reads them exactly; curves of greater integers are written as
/// doubles. REQUIRES: the times do not decrease, and none is before `start`.
PackedValues packCurve(std::span<const CurvePoint> points, std::uint64_t start, std::string& bytes);

} // namespace rksignal

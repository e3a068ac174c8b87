/// \file
/// A curve as a small picture beside its name.
#pragma once

#include "curve/Curve.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace rksignal {

constexpr std::size_t sparkColumns = 32;

/// The lowest and the highest value in each of `sparkColumns` columns of equal width from `from` to `to`, one
/// behind the other: 0 is the minimum of the curve, 255 the maximum; nothing where there is no value. Empty
/// if the values are all the same. \param interpolates whether lines lead from point to point; otherwise
/// values are held
std::vector<std::optional<std::uint8_t>> sparkline(std::span<const CurvePoint> points, std::uint64_t from,
                                                   std::uint64_t to, bool interpolates);

} // namespace rksignal

/// \file
/// Shares of an amount that is too small for all.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace rksignal {

struct Demand {
    std::size_t amount = 0;
    std::size_t weight = 1; ///< not 0
};

/// What each gets of `total`, at most its demand: where not all can be met, the small ones are, and all
/// others get the same amount for each unit of weight (max-min fairness; Bertsekas, Gallager: "Data
/// Networks", 6.5.2).
std::vector<std::size_t> fairShares(std::span<const Demand> demands, std::size_t total);

} // namespace rksignal

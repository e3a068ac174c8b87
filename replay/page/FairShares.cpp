#include "page/FairShares.h"

#include <algorithm>
#include <numeric>

namespace rksignal {

std::vector<std::size_t> fairShares(std::span<const Demand> demands, std::size_t total) {
    const auto perWeight = [demands](std::size_t i) {
        return static_cast<double>(demands[i].amount) / static_cast<double>(demands[i].weight);
    };
    std::vector<std::size_t> order(demands.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, perWeight);
    std::size_t weights = 0;
    for (const Demand& demand : demands) {
        weights += demand.weight;
    }
    std::vector<std::size_t> shares(demands.size());
    for (const std::size_t i : order) {
        const std::size_t fair = total / weights * demands[i].weight;
        shares[i] = std::min(demands[i].amount, fair);
        total -= shares[i];
        weights -= demands[i].weight;
    }
    return shares;
}

} // namespace rksignal

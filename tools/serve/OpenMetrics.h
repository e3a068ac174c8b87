/// \file
/// The values as OpenMetrics 1.0 has them, for Prometheus and its like.
#pragma once

#include "serve/LiveState.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// What is written of the state: a copy, so that the text is made while polls go on.
struct MetricsSnapshot {
    const Catalog& catalog;
    std::vector<LiveValue> values;
    std::uint64_t now;
    SlotReplay::Statistics polls;
    std::vector<TriggerState> states;
    std::vector<std::string> conditions; ///< names
};

/// To be called under the lock of the state, see LiveState::read().
MetricsSnapshot metricsSnapshot(const LiveState::Contents& live);

constexpr std::string_view openMetricsType = "application/openmetrics-text; version=1.0.0; charset=utf-8";

/// https://github.com/OpenObservability/OpenMetrics, version 1.0. \param clients how many pages are open
std::string openMetrics(const MetricsSnapshot& snapshot, std::size_t clients, std::string_view version);

} // namespace rksignal

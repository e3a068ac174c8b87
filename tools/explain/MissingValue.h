/// \file
/// Why a signal has no value after a replay.
#pragma once

#include "catalog/Catalog.h"
#include "explain/SignalWatch.h"
#include "trace/ChannelMap.h"
#include "value/ReplayStatistics.h"

#include <string>
#include <vector>

namespace rksignal {

/// What was replayed.
struct ReplayResult {
    const Catalog& catalog;
    const ReplayStatistics& statistics;
    const ChannelMap& channels;
};

/// What the last frame of its message did not give the signal, or where frames went that nearly have its
/// definition; a line each. Empty if the last message gave it a value.
std::vector<std::string> reasonsForNoValue(const ReplayResult& result, std::size_t signal,
                                           const SignalWatch& watch);

} // namespace rksignal

/// \file
/// When a value is too old to be shown as that of now.
#pragma once

#include "catalog/Catalog.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace rksignal {

/// Nanoseconds unless the user says otherwise.
constexpr std::uint64_t usualStaleAge = 3'000'000'000;

/// The age in nanoseconds from which on the value of a signal is stale: `least`, or three cycle times of its
/// message if that is more. One message that is lost, or comes late, is normal on a bus.
inline std::uint64_t staleAge(const Catalog& catalog, std::size_t signal, std::uint64_t least) {
    constexpr double longest = 1e12; // milliseconds
    const double cycle = catalog.origin(signal).message->cycleTime.value_or(0);
    return std::max(least, static_cast<std::uint64_t>(3e6 * std::clamp(cycle, 0.0, longest)));
}

} // namespace rksignal

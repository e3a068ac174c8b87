/// \file
/// The system's clocks in nanoseconds.
#pragma once

#include <cstdint>
#include <ctime>

namespace rksignal {

constexpr std::uint64_t nanosecondsOf(const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
}

inline std::uint64_t clockTime(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return nanosecondsOf(now);
}

} // namespace rksignal

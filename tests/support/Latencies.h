/// \file
/// How long something takes, counted in constant memory.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <ctime>

/// Nanoseconds of a clock that never goes back.
inline std::uint64_t clockTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

/// Durations in nanoseconds, each to 3%, the longest exactly. May lie in memory that processes share; one
/// thread counts.
class Latencies {
  public:
    void count(std::uint64_t duration) {
        ++counts[bucketOf(duration)];
        ++total;
        longest = std::max(longest, duration);
    }
    void add(const Latencies& other) {
        for (std::size_t i = 0; i < counts.size(); ++i) {
            counts[i] += other.counts[i];
        }
        total += other.total;
        longest = std::max(longest, other.longest);
    }
    std::uint64_t size() const { return total; }
    std::uint64_t maximum() const { return longest; }

    /// The duration that `share` of all do not exceed; 0 if there are none.
    std::uint64_t quantile(double share) const {
        std::uint64_t left = static_cast<std::uint64_t>(share * static_cast<double>(total));
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] > left) {
                return lowestOf(i);
            }
            left -= counts[i];
        }
        return longest;
    }

  private:
    static constexpr unsigned bits = 5; ///< significant ones, below the first

    static std::size_t bucketOf(std::uint64_t duration) {
        const auto width = static_cast<unsigned>(std::bit_width(duration));
        const unsigned shift = width > bits + 1 ? width - bits - 1 : 0;
        return (std::size_t{shift} << bits) + static_cast<std::size_t>(duration >> shift);
    }
    static std::uint64_t lowestOf(std::size_t bucket) {
        const std::size_t shift = bucket < (2U << bits) ? 0 : (bucket >> bits) - 1;
        return static_cast<std::uint64_t>(bucket - (shift << bits)) << shift;
    }

    std::array<std::uint64_t, 60U << bits> counts{};
    std::uint64_t total = 0, longest = 0;
};

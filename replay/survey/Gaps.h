/// \file
/// Times in which nothing came, and whether something should have.
#pragma once

#include "survey/IntervalSketch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// A time in which nothing came, in nanoseconds.
struct Gap {
    std::uint64_t begin = 0; ///< the time of the last message before it
    std::uint64_t length = 0;

    std::uint64_t end() const { return begin + length; }
    bool holds(const Gap& other) const { return begin <= other.begin && other.end() <= end(); }

    friend bool operator==(const Gap&, const Gap&) = default;
};

/// The longest gaps. Takes 16 bytes a gap.
class GapList {
  public:
    static constexpr std::size_t defaultKept = 10;

    explicit GapList(std::size_t mostKept = defaultKept) : mostKept(mostKept) {}

    void add(const Gap& gap) {
        if (kept.size() < mostKept) {
            kept.push_back(gap);
        } else if (gap.length > shortest) {
            *std::ranges::min_element(kept, {}, &Gap::length) = gap;
        } else {
            return;
        }
        shortest = std::ranges::min_element(kept, {}, &Gap::length)->length;
    }
    /// Those longer than `length`, by time.
    std::vector<Gap> above(std::uint64_t length) const {
        std::vector<Gap> found = kept;
        std::erase_if(found, [length](const Gap& gap) { return gap.length <= length; });
        std::ranges::sort(found, {}, &Gap::begin);
        return found;
    }

  private:
    std::size_t mostKept;
    std::uint64_t shortest = 0; ///< of `kept`
    std::vector<Gap> kept;
};

/// `factor` times a time, at most what 64 bits hold.
inline std::uint64_t scaledInterval(double factor, std::uint64_t interval) {
    constexpr double limit = 0x1p64;
    const double scaled = factor * static_cast<double>(interval);
    return scaled < limit ? static_cast<std::uint64_t>(scaled) : ~std::uint64_t{0};
}

constexpr double lateFactor = 1.75; ///< of the cycle: a message is lost when the next comes later
constexpr double endFactor = 4;     ///< of the cycle: it is missing at the end of its channel

/// Whether nearly all intervals are close to their median: at least 20 are known, nine of ten lie between 0.5
/// and 1.5 medians, and at most one of 50, or two in all, is late. Messages that come in bursts, or when
/// something happens, have no cycle that they should keep.
inline bool isRegular(const IntervalSketch& intervals, std::uint64_t median) {
    constexpr std::uint64_t fewestRegular = 20;
    constexpr std::uint64_t mostLate = 50; // one in so many
    const std::uint64_t late = intervals.countAbove(scaledInterval(lateFactor, median));
    return median > 0 && intervals.count() >= fewestRegular && 2 * intervals.percentile(5) >= median &&
           2 * intervals.percentile(95) <= 3 * median &&
           late <= std::max<std::uint64_t>(2, intervals.count() / mostLate);
}

/// Times between the messages of a bus that are longer than this are pauses: 20 times their 99th percentile,
/// at least 100 ms. Of fewer than 100 intervals none is.
inline std::uint64_t longestUsualInterval(const IntervalSketch& intervals) {
    constexpr std::uint64_t fewest = 100;
    constexpr std::uint64_t shortestPause = 100'000'000;
    constexpr double factor = 20;
    return intervals.count() < fewest
               ? ~std::uint64_t{0}
               : std::max(shortestPause, scaledInterval(factor, intervals.percentile(99)));
}

} // namespace rksignal

/// \file
/// How often something odd was seen, and when.
#pragma once

#include "audit/Finding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace rksignal {

/// Counts, and keeps the first `maxKept` moments with their texts, which are only made for these.
class Sightings {
  public:
    static constexpr std::size_t maxKept = 10;

    template <class MakeText>
    void add(std::uint64_t time, MakeText&& makeText) {
        count(time);
        if (kept.size() < maxKept) {
            kept.push_back({time, makeText()});
        }
    }
    /// One more that is not worth a moment of its own.
    void count(std::uint64_t time) {
        first = total == 0 ? time : first;
        last = time;
        ++total;
    }
    std::uint64_t counted() const { return total; }
    std::uint64_t lastTime() const { return last; }

    void moveTo(Finding& finding) {
        finding.count = total;
        finding.first = first;
        finding.last = last;
        finding.occurrences = std::move(kept);
    }

  private:
    std::uint64_t total = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::vector<Occurrence> kept;
};

/// A time in which nothing came.
struct Gap {
    std::uint64_t begin; ///< the time of the last message before it; nanoseconds
    std::uint64_t length;

    std::uint64_t end() const { return begin + length; }
    bool holds(const Gap& other) const { return begin <= other.begin && other.end() <= end(); }
};

/// The longest gaps.
class GapList {
  public:
    static constexpr std::size_t maxKept = 10;

    void add(const Gap& gap) {
        if (kept.size() < maxKept) {
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
    std::uint64_t shortest = 0; ///< of `kept`
    std::vector<Gap> kept;
};

} // namespace rksignal

/// \file
/// How often something odd was seen, and when.
#pragma once

#include "audit/Finding.h"

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

} // namespace rksignal

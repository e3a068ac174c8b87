/// \file
/// The distribution of intervals, in bounded memory.
#pragma once

#include "text/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// Counts intervals, in nanoseconds, and tells their percentiles.
///
/// Up to `exactIntervals` are kept as they are. With more, all are counted in buckets that are at most
/// 1/1024 of their values wide (as in HDR histograms: buckets are linear within a power of two), so that a
/// percentile is off by at most 0.05 %. There are at most `maxBuckets`, of 16 bytes each; where intervals are
/// spread over more, neighbours are put together, which doubles the error each time (the uniform collapse of
/// UDDSketch, Epicoco et al., 2020). It never exceeds 12.5 %. Of
/// intervals below a microsecond, it is less than that of one.
class RKREPLAY_EXPORT IntervalSketch {
  public:
    static constexpr std::size_t exactIntervals = 64;
    static constexpr std::size_t maxBuckets = 256;

    void add(std::uint64_t interval);

    std::uint64_t count() const { return total; }
    /// The interval of rank ceil(`percent` / 100 * count()), the smallest having rank 1: exact, or the middle
    /// of its bucket. \return 0 if there is none
    std::uint64_t percentile(unsigned percent) const;
    /// How many are longer than `interval`, as exactly as percentiles are.
    std::uint64_t countAbove(std::uint64_t interval) const;
    /// The most by which a percentile is off, as a part of it, or of 1024 ns if it is smaller; 0: it is
    /// exact.
    double error() const;

  private:
    struct Bucket {
        std::uint64_t key : 16;
        std::uint64_t count : 48;
    };

    void enter(std::uint64_t interval);
    Bucket& find(std::uint64_t key);
    void makeRoom();
    void rebuild(std::size_t size, unsigned shift);

    std::uint64_t total = 0;
    std::vector<std::uint64_t> exact; ///< the first ones
    std::vector<Bucket> buckets;      ///< a hash table, a power of two, at most half full; free: count 0
    std::size_t used = 0;
    unsigned collapses = 0; ///< a key is that of the finest buckets, shifted right by this
};

} // namespace rksignal

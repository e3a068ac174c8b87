#include "survey/IntervalSketch.h"

#include <algorithm>
#include <bit>

namespace rksignal {
namespace {

constexpr unsigned precision = 10; // bits: a bucket is at most 1/1024 wide

std::uint64_t bucketKey(std::uint64_t interval) {
    constexpr std::uint64_t firstLinear = std::uint64_t{2} << precision;
    const auto shift =
        interval < firstLinear ? 0U : static_cast<unsigned>(std::bit_width(interval)) - precision - 1;
    return (std::uint64_t{shift} << precision) + (interval >> shift);
}

/// The smallest interval in a bucket.
std::uint64_t bucketBegin(std::uint64_t key) {
    constexpr std::uint64_t part = std::uint64_t{1} << precision;
    return key < 2 * part ? key : (key % part + part) << (key / part - 1);
}

} // namespace

void IntervalSketch::add(std::uint64_t interval) {
    ++total;
    if (total > exactIntervals) {
        enter(interval);
        return;
    }
    exact.push_back(interval);
    if (total == exactIntervals) {
        for (const std::uint64_t each : exact) {
            enter(each);
        }
    }
}

void IntervalSketch::enter(std::uint64_t interval) {
    const std::uint64_t key = bucketKey(interval) >> collapses;
    if (latest < buckets.size() && buckets[latest].key == key) {
        ++buckets[latest].count;
    } else {
        insert(key);
    }
}

void IntervalSketch::insert(std::uint64_t key) {
    const auto at =
        std::lower_bound(buckets.begin(), buckets.end(), key,
                         [](const Bucket& bucket, std::uint64_t wanted) { return bucket.key < wanted; });
    latest = static_cast<std::size_t>(at - buckets.begin());
    if (at != buckets.end() && at->key == key) {
        ++at->count;
        return;
    }
    Bucket bucket{};
    bucket.key = key & 0xFFFF;
    bucket.count = 1;
    buckets.insert(at, bucket);
    while (buckets.size() > maxBuckets) {
        collapse();
    }
}

/// Puts each two neighbours together.
void IntervalSketch::collapse() {
    ++collapses;
    std::size_t end = 0;
    for (Bucket bucket : buckets) {
        bucket.key = bucket.key >> 1;
        if (end > 0 && buckets[end - 1].key == bucket.key) {
            buckets[end - 1].count = (buckets[end - 1].count + bucket.count) & 0xFFFF'FFFF'FFFF;
        } else {
            buckets[end++] = bucket;
        }
    }
    buckets.resize(end);
    latest = buckets.size();
}

std::uint64_t IntervalSketch::percentile(unsigned percent) const {
    if (total == 0) {
        return 0;
    }
    // Without overflow, whatever the count: hundreds and the rest apart.
    const std::uint64_t rank =
        std::max<std::uint64_t>(1, total / 100 * percent + (total % 100 * percent + 99) / 100);
    if (total <= exactIntervals) {
        std::vector<std::uint64_t> sorted = exact;
        const auto at = sorted.begin() + static_cast<std::ptrdiff_t>(rank - 1);
        std::nth_element(sorted.begin(), at, sorted.end());
        return *at;
    }
    std::uint64_t passed = 0;
    for (const Bucket& bucket : buckets) {
        passed += bucket.count;
        if (passed >= rank) {
            const std::uint64_t key = bucket.key;
            const std::uint64_t begin = bucketBegin(key << collapses);
            const std::uint64_t last = bucketBegin((key + 1) << collapses) - 1;
            return begin + (last - begin) / 2;
        }
    }
    return 0;
}

std::uint64_t IntervalSketch::countAbove(std::uint64_t interval) const {
    if (total <= exactIntervals) {
        return static_cast<std::uint64_t>(std::count_if(
            exact.begin(), exact.end(), [interval](std::uint64_t each) { return each > interval; }));
    }
    const std::uint64_t key = bucketKey(interval) >> collapses;
    std::uint64_t above = 0;
    for (const Bucket& bucket : buckets) {
        above += bucket.key > key ? bucket.count : 0;
    }
    return above;
}

double IntervalSketch::error() const {
    return total <= exactIntervals ? 0 : 0.5 * static_cast<double>(1U << collapses) / (1U << precision);
}

} // namespace rksignal

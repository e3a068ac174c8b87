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
    const std::uint64_t key = bucketKey(interval);
    Bucket* bucket = buckets.empty() ? nullptr : &find(key >> collapses);
    if (bucket == nullptr || bucket->count == 0) {
        makeRoom();
        bucket = &find(key >> collapses);
        used += bucket->count == 0 ? 1 : 0;
        bucket->key = (key >> collapses) & 0xFFFF;
    }
    ++bucket->count;
}

/// The bucket of a key, or the free one that it would take. Keys that are near each other have places near
/// each other.
IntervalSketch::Bucket& IntervalSketch::find(std::uint64_t key) {
    const std::size_t mask = buckets.size() - 1;
    std::size_t place = key & mask;
    while (buckets[place].count > 0 && buckets[place].key != key) {
        place = (place + 1) & mask;
    }
    return buckets[place];
}

/// Makes room for one more.
void IntervalSketch::makeRoom() {
    while (used >= maxBuckets) {
        ++collapses;
        rebuild(buckets.size(), 1);
    }
    if (2 * used >= buckets.size()) {
        rebuild(std::max<std::size_t>(16, 2 * buckets.size()), 0);
    }
}

/// Puts all buckets into a table of another size, those together whose keys are the same when shifted.
void IntervalSketch::rebuild(std::size_t size, unsigned shift) {
    std::vector<Bucket> former(size);
    former.swap(buckets);
    used = 0;
    for (const Bucket& each : former) {
        if (each.count > 0) {
            Bucket& bucket = find(each.key >> shift);
            used += bucket.count == 0 ? 1 : 0;
            bucket.key = (each.key >> shift) & 0xFFFF;
            bucket.count = (bucket.count + each.count) & 0xFFFF'FFFF'FFFF;
        }
    }
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
    std::vector<Bucket> sorted = buckets;
    std::sort(sorted.begin(), sorted.end(),
              [](const Bucket& left, const Bucket& right) { return left.key < right.key; });
    std::uint64_t passed = 0;
    for (const Bucket& bucket : sorted) {
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

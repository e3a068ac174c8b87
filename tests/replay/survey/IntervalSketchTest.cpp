#include "survey/IntervalSketch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace rksignal {
namespace {

/// Adds what `draw` gives, and compares the percentiles with those of the sorted intervals.
/// \return the error that the sketch admits
template <class Draw>
double compare(std::size_t count, Draw&& draw) {
    IntervalSketch sketch;
    std::vector<std::uint64_t> all;
    for (std::size_t i = 0; i < count; ++i) {
        all.push_back(draw());
        sketch.add(all.back());
    }
    std::sort(all.begin(), all.end());
    for (const unsigned percent : {0U, 1U, 50U, 99U, 100U}) {
        const auto rank = static_cast<std::size_t>(std::ceil(static_cast<double>(count) * percent / 100));
        const auto expected = static_cast<double>(all[std::max<std::size_t>(rank, 1) - 1]);
        EXPECT_NEAR(static_cast<double>(sketch.percentile(percent)), expected,
                    sketch.error() * std::max(expected, 1024.0))
            << count << " intervals, " << percent << " %";
    }
    return sketch.error();
}

TEST(IntervalSketch, IsAsExactAsItSays) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> jitter(10e6, 1e5); // a cycle of 10 ms
    const auto cycle = [&] { return static_cast<std::uint64_t>(jitter(random)); };
    EXPECT_EQ(compare(1, cycle), 0);
    EXPECT_EQ(compare(IntervalSketch::exactIntervals, cycle), 0);
    EXPECT_EQ(compare(100'000, cycle), 1 / 2048.0);
    std::uniform_real_distribution<double> magnitude(0,
                                                     63.9); // of all sizes: more than there are buckets for
    EXPECT_LE(compare(100'000, [&] { return static_cast<std::uint64_t>(std::exp2(magnitude(random))); }),
              0.125);
    EXPECT_LE(compare(1000, [n = std::uint64_t{0}]() mutable { return n++; }), 0.01);
}

} // namespace
} // namespace rksignal

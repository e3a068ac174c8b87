/// \file
/// Where ticks lie, and what stands at them.
#include "plot/TimeAxis.h"
#include "plot/ValueAxis.h"

#include <gtest/gtest.h>
#include <limits>

namespace rksignal {
namespace {

template <class Ticks>
std::string textsOf(const Ticks& ticks) {
    std::string texts;
    for (const auto& tick : ticks) {
        texts += (texts.empty() ? "" : " ") + tick.text;
    }
    return texts;
}

TEST(ValueAxis, TicksAreRoundNumbersWithinTheRange) {
    constexpr double huge = std::numeric_limits<double>::max() / 4;
    const struct {
        double least, greatest;
        unsigned ticks;
        bool isWhole;
        const char* expected;
    } rows[] = {
        {0, 100, 6, false, "0 20 40 60 80 100"},
        {0, 100, 4, false, "0 50 100"},
        {-0.3, 0.45, 4, false, "-0.2 0.0 0.2 0.4"},
        {780, 6120, 4, false, "2000 4000 6000"},
        {0, 1, 6, true, "0 1"},
        {5, 5, 3, false, "4.5 5.0 5.5"},
        {0, 0, 3, false, "-1 0 1"},
        {-8e-9, 9e-9, 4, false, "-5e-09 0 5e-09"},
        {1e9, 1e9 + 3, 4, false, "1000000000 1000000001 1000000002 1000000003"},
        {1e15, 1e15 + 1, 4, false, "900000000000000 1e+15 1.1e+15"}, // doubles are too coarse for finer ticks
        {-huge, huge, 5, false, "-4e+307 -2e+307 0 2e+307 4e+307"},
    };
    for (const auto& row : rows) {
        const ValueAxis axis = valueAxis(row.least, row.greatest, row.ticks, row.isWhole);
        EXPECT_EQ(textsOf(axis.ticks), row.expected) << row.least;
        EXPECT_LE(axis.low, row.least);
        EXPECT_GE(axis.high, row.greatest);
    }
    EXPECT_EQ(valueAxis(7, 7, 2).position(7), 0.5);
}

TEST(TimeAxis, TicksAreStepsOfTheClock) {
    constexpr std::uint64_t s = 1'000'000'000;
    constexpr std::uint64_t start = 1'700'000'000 * s; // 2023-11-14T22:13:20Z
    const TimeFormat relative{TimeStyle::Relative, start};
    const TimeFormat iso{TimeStyle::Iso, 0};
    const std::string since = " since 2023-11-14 22:13:20.000 UTC";
    const struct {
        std::uint64_t from, to; ///< nanoseconds behind the start
        TimeFormat times;
        unsigned ticks;
        std::string expected, title;
    } rows[] = {
        {0, 100 * s, relative, 6, "0 30 60 90", "time in s" + since},
        {0, 240 * s, relative, 5, "0:00 1:00 2:00 3:00 4:00", "time in min:s" + since},
        {3500 * s, 3620 * s, relative, 5, "0:58:30 0:59:00 0:59:30 1:00:00", "time in h:min:s" + since},
        {0, 36'000 * s, relative, 6, "0:00 2:00 4:00 6:00 8:00 10:00", "time in h:min" + since},
        {5 * s + 7'000'000, 5 * s + 8'200'000, relative, 4, "5.0070 5.0075 5.0080", "time in s" + since},
        {0, 100 * s, iso, 5, "22:13:30 22:14:00 22:14:30 22:15:00", "2023-11-14, UTC"},
        {0, 86'400 * s, iso, 4, "2023-11-15 06:00 12:00 18:00", "2023-11-14 to 2023-11-15, UTC"},
        {0, 250'000'000, iso, 3, "22:13:20.0 22:13:20.1 22:13:20.2", "2023-11-14, UTC"},
        {0, 100 * s, {}, 3, "1700000000 1700000050 1700000100", "seconds since 1970-01-01 UTC"},
    };
    for (const auto& row : rows) {
        const TimeAxis axis = timeAxis(start + row.from, start + row.to, row.times, row.ticks);
        EXPECT_EQ(textsOf(axis.ticks), row.expected);
        EXPECT_EQ(axis.title, row.title);
    }
    const TimeAxis before = timeAxis(start - 2 * s, start + s, relative, 4);
    EXPECT_EQ(textsOf(before.ticks), "-2 -1 0 1") << "messages from before the start";
    const std::uint64_t end = ~std::uint64_t{0};
    EXPECT_EQ(timeAxis(end, end, iso, 2).to, end);
    EXPECT_EQ(timeAxis(0, end, iso, 5).ticks.size(), 3U);
}

} // namespace
} // namespace rksignal

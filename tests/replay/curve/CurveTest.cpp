/// \file
/// Curves against all the values that they were made from.
#include "curve/Curve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace rksignal {
namespace {

using Points = std::vector<CurvePoint>;

baseSignalDef_t signalOf(const char* unit, std::uint64_t firstText, std::uint64_t texts) {
    baseSignalDef_t definition;
    definition.bits = 16;
    definition.unit = unit;
    for (std::uint64_t raw = firstText; raw < firstText + texts; ++raw) {
        definition.valueDescriptions[raw] = "text";
    }
    return definition;
}

const baseSignalDef_t quantity = signalOf("V", 0, 0);
const baseSignalDef_t gear = signalOf("", 0, 0);
const baseSignalDef_t states = signalOf("", 0, 20);
const baseSignalDef_t quantityOrError = signalOf("V", 14, 2);

/// `TIME:VALUE` a point, `-` for a break.
std::string text(std::span<const CurvePoint> points) {
    std::ostringstream out;
    for (const CurvePoint& point : points) {
        out << (&point == points.data() ? "" : " ") << point.time << ':';
        std::isnan(point.value) ? out << '-' : out << point.value;
    }
    return out.str();
}

/// Adds what text() writes; `inf` and `nan` are values.
void addAll(Curve& curve, const std::string& points) {
    std::istringstream words(points);
    for (std::string word; words >> word;) {
        const std::size_t colon = word.find(':');
        const std::uint64_t time = std::stoull(word);
        word.substr(colon + 1) == "-" ? curve.breakOff(time)
                                      : curve.add(time, std::stod(word.substr(colon + 1)));
    }
}

TEST(Curve, KeepsChangesAndBreaks) {
    struct Case {
        const baseSignalDef_t& signal;
        std::string values, points;
        CurveKind kind;
        std::vector<Gap> gaps = {};
        std::uint64_t hold = 5;
    };
    const std::vector<Case> cases = {
        {quantity, "", "", CurveKind::Empty},
        {quantity, "1:- 2:nan", "", CurveKind::Empty},
        {quantity, "1:5 2:5 3:5", "1:5 3:5", CurveKind::Constant},
        {quantity, "1:5 2:5 3:5 4:6", "1:5 3:5 4:6", CurveKind::Line},
        {quantity, "1:5 2:- 3:- 4:5 5:5 6:5", "1:5 2:- 4:5 6:5", CurveKind::Constant},
        {quantity, "1:5 2:inf 3:nan 4:6", "1:5 2:- 4:6", CurveKind::Line},
        {quantity, "5:1 3:2 6:3", "5:1 5:2 6:3", CurveKind::Line}, // time goes back
        {gear, "1:5 2:5 3:6 4:6 5:6", "1:5 3:6 5:6", CurveKind::Step},
        {gear, "1:5 2:5 3:- 4:6", "1:5 2:5 3:- 4:6", CurveKind::Step},
        {quantityOrError, "1:15 2:14", "1:15 2:14", CurveKind::States},
        {quantityOrError, "1:15 2:3 3:3", "1:15 2:3 3:3", CurveKind::Line},
        {states, "1:0 2:1 3:99", "1:0 2:1 3:99", CurveKind::States}, // one has no text
        {quantity, "10:1 20:2 90:3", "10:1 20:2 25:- 90:3", CurveKind::Line, {{20, 70}}},
        {quantity, "10:1 20:1 90:1 95:1", "10:1 20:1 25:- 90:1 95:1", CurveKind::Constant, {{20, 70}}},
        {quantity,
         "10:1 90:2",
         "10:1 15:- 90:2 95:-",
         CurveKind::Line,
         {{1, 9}, {10, 4}, {10, 80}, {90, 50}}},
        {quantity, "20:2 30:- 90:3", "20:2 30:- 90:3", CurveKind::Line, {{20, 70}}}, // there is one
        {quantity, "10:1 80:2", "10:1 10:- 80:2", CurveKind::Line, {{30, 40}}, 0},
        {quantity, "10:1 80:1", "10:1 30:1 30:- 70:1 80:1", CurveKind::Constant, {{30, 40}}, 0},
        {gear, "10:1 80:2", "10:1 30:1 30:- 70:1 80:2", CurveKind::Step, {{30, 40}}, 0},
    };
    for (const Case& each : cases) {
        Curve curve(each.signal, Curve::fewestPoints);
        addAll(curve, each.values);
        curve.breakAt(each.gaps, each.hold);
        EXPECT_EQ(text(curve.points()), each.points) << each.values;
        EXPECT_EQ(curve.kind(), each.kind) << each.values;
    }
}

TEST(Curve, PictureLeadsBeyondItsBorders) {
    Curve curve(quantity, Curve::fewestPoints);
    addAll(curve, "0:1 10:2 20:3 30:4");
    EXPECT_EQ(text(curve.reduced(12, 18, 4)), "10:2 20:3");
    EXPECT_EQ(text(curve.reduced(10, 10, 1)), "0:1 10:2 20:3");
    EXPECT_EQ(text(curve.reduced(0, ~std::uint64_t{0}, 1)), "0:1 30:4");
    EXPECT_EQ(text(curve.reduced(40, ~std::uint64_t{0}, 3)), "30:4");
}

/// The clock is set from 1970 to 2026 by the second value.
TEST(Curve, EmptyTimeTakesNoPoints) {
    constexpr std::uint64_t start = 1'772'352'000'000'000'000;
    Curve curve(quantity, 1024);
    curve.add(0, 0);
    for (std::uint64_t i = 0; i < 100'000; ++i) {
        curve.add(start + i * 1'000'000, static_cast<double>(i % 7));
    }
    EXPECT_LE(curve.resolution(), 1'000'000'000U); // 100 s in at least 100 buckets
    const std::size_t points = curve.points().size();
    EXPECT_GE(points, 400U);
    for (std::uint64_t i = 100'000; i < 10'000'000; ++i) {
        curve.add(start + i * 1'000'000, 3); // nor does a constant value
    }
    EXPECT_LE(curve.points().size(), points + 3);
    const Gap narrow{start + 5'000'000, 1'000'000};
    const std::string before = text(curve.points());
    curve.breakAt({&narrow, 1}, 0);
    EXPECT_EQ(text(curve.points()), before);
}

/// The definition of M4, over all values.
Points naiveM4(const Points& all, std::uint64_t width, std::size_t columns) {
    Points picture;
    for (std::size_t column = 0; column < columns; ++column) {
        const auto begin = std::ranges::lower_bound(all, column * width, {}, &CurvePoint::time);
        const auto end = std::ranges::lower_bound(all, (column + 1) * width, {}, &CurvePoint::time);
        const std::span<const CurvePoint> bucket(begin, end);
        if (!bucket.empty()) {
            const auto [least, greatest] = std::ranges::minmax_element(bucket, {}, &CurvePoint::value);
            const auto first = std::ranges::find(bucket, greatest->value, &CurvePoint::value);
            Points kept = {bucket.front(), *least, *first, bucket.back()};
            std::ranges::sort(kept, {}, &CurvePoint::time);
            kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
            picture.insert(picture.end(), kept.begin(), kept.end());
        }
    }
    return picture;
}

TEST(Curve, PictureIsThatOfAllValues) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 20; ++round) {
        Curve curve(quantity, 128 + random() % 1000);
        Points all;
        std::uint64_t time = random() % 1'000'000;
        for (std::size_t i = random() % 10'000; i > 0; --i) {
            time += 1 + random() % (random() % 100 == 0 ? 100'000 : 100);
            const double value = static_cast<double>(random() % 1000);
            if (all.empty() || all.back().value != value) {
                all.push_back({time, value});
                curve.add(time, value);
            }
        }
        for (std::uint64_t width = std::max<std::uint64_t>(curve.resolution(), 64); width < 1'000'000;
             width *= 4) {
            const std::size_t columns = time / width + 1;
            const Points picture = curve.reduced(0, columns * width - 1, columns);
            ASSERT_EQ(text(picture), text(naiveM4(all, width, columns))) << "width " << width;
        }
    }
}

/// The values from `begin` to `end`, and the one that holds at the begin.
std::vector<double> valuesIn(std::span<const CurvePoint> points, std::uint64_t begin, std::uint64_t end) {
    const auto first = std::ranges::lower_bound(points, begin, {}, &CurvePoint::time);
    const auto last = std::ranges::lower_bound(points, end, {}, &CurvePoint::time);
    std::vector<double> values;
    for (auto each = first == points.begin() ? first : std::prev(first); each != last; ++each) {
        if (!std::isnan(each->value)) {
            values.push_back(each->value);
        }
    }
    std::ranges::sort(values);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

/// Runs of equal values and breaks, too; the limit is lowered on the way.
TEST(Curve, NothingHidesInABucket) {
    std::mt19937_64 random(2);
    for (const baseSignalDef_t& signal : {quantity, gear, states}) {
        for (int round = 0; round < 5; ++round) {
            Curve curve(signal, 2000);
            Points all;
            std::uint64_t time = 0;
            const std::size_t count = 20'000;
            for (std::size_t i = 0; i < count; ++i) {
                time += random() % 1000;
                const bool stays = !all.empty() && random() % 4 != 0;
                const double value = stays ? all.back().value : static_cast<double>(random() % 20);
                const bool breaks = random() % 200 == 0;
                breaks || std::isnan(value) ? curve.breakOff(time) : curve.add(time, value);
                all.push_back({time, breaks ? std::nan("") : value});
                if (i == count / 2) {
                    curve.limit(256);
                }
            }
            ASSERT_LE(curve.capacity(), 256U);
            ASSERT_TRUE(std::ranges::is_sorted(curve.points(), {}, &CurvePoint::time));
            for (std::uint64_t begin = 0; begin < time; begin += curve.resolution()) {
                const std::vector<double> expected = valuesIn(all, begin, begin + curve.resolution());
                const std::vector<double> found = valuesIn(curve.points(), begin, begin + curve.resolution());
                if (curve.kind() == CurveKind::States) {
                    ASSERT_EQ(found, expected) << begin;
                } else if (!expected.empty()) {
                    ASSERT_EQ(found.front(), expected.front()) << begin;
                    ASSERT_EQ(found.back(), expected.back()) << begin;
                }
            }
        }
    }
}

TEST(Curve, OneOfTenMillionValuesIsSeen) {
    constexpr std::uint64_t cycle = 1'000'000;
    constexpr std::uint64_t count = 10'000'000;
    constexpr CurvePoint spike{7'654'321 * cycle, 4000};
    Curve curve(quantity, 2000);
    for (std::uint64_t i = 0; i < count; ++i) {
        curve.add(i * cycle, i * cycle == spike.time ? spike.value : static_cast<double>(i * i % 11));
    }
    EXPECT_LE(curve.capacity(), 2000U);
    EXPECT_EQ(curve.minimum(), 0);
    EXPECT_EQ(curve.maximum(), spike.value);
    EXPECT_EQ(std::ranges::count(curve.points(), spike), 1);
    EXPECT_EQ(std::ranges::count(curve.reduced(0, count * cycle, 100), spike), 1);
}

} // namespace
} // namespace rksignal

/// \file
/// Which raw values the guards of several conditions leave out together.
#include "condition/ConditionGuard.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t half = std::uint64_t{1} << 63;

using Ends = std::pair<std::uint64_t, std::uint64_t>; // first and last

RawArc arc(Ends ends) {
    return {ends.first, ends.second - ends.first};
}
Ends endsOf(RawArc arc) {
    return arc.span == last ? Ends(0, last) : Ends(arc.first, arc.first + arc.span);
}

TEST(ConditionGuard, JoinsRawValuesTheShorterWayRound) {
    const struct {
        Ends one;
        Ends other;
        Ends both;
    } cases[] = {
        {{10, 15}, {20, 25}, {10, 25}},                // side by side
        {{10, 20}, {15, 25}, {10, 25}},                // overlapping
        {{10, 30}, {12, 15}, {10, 30}},                // one within the other
        {{7, 7}, {7, 7}, {7, 7}},                      // the same
        {{0, 200}, {65400, last}, {65400, 200}},       // `< 201` and `> 65399`: not what lies between
        {{0, 200}, {300, 300}, {0, 300}},              // not round the end
        {{last - 5, last - 2}, {2, 3}, {last - 5, 3}}, // -6 to -3, and 2 to 3
        {{last - 5, 3}, {65400, last}, {65400, 3}},    // goes round already
        {{10, 9}, {20, 30}, {0, last}},                // all there are in one of them
        {{0, half}, {half, 0}, {0, last}},             // and in both
    };
    for (const auto& [one, other, both] : cases) {
        EXPECT_EQ(endsOf(hull(arc(one), arc(other))), both) << one.first << ", " << other.first;
        EXPECT_EQ(endsOf(hull(arc(other), arc(one))), both) << other.first << ", " << one.first;
    }
}

TEST(ConditionGuard, HoldsRawValuesRoundTheEnd) {
    const RawArc arc{last - 1, 4}; // up to 2
    const std::pair<std::uint64_t, bool> cases[] = {
        {last - 2, false}, {last - 1, true}, {last, true}, {0, true}, {2, true}, {3, false}, {half, false}};
    for (const auto& [raw, isHeld] : cases) {
        EXPECT_EQ(arc.holds(raw), isHeld) << raw;
    }
}

} // namespace
} // namespace rksignal

/// \file
/// What `rksignal watch` shows at a width, without a terminal: columns, ages, rates, courses, order.
#include "watch/WatchLayout.h"
#include "output/TextWidth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t start = 1'700'000'000'000'000'000;
constexpr std::uint64_t millisecond = 1'000'000;

struct FilledCatalog : Catalog {
    FilledCatalog() {
        addDbcText("BO_ 1 WatchLayoutTest: 8 X\n SG_ Selector M : 0|8@1+ (1,0) [0|0] \"\"\n"
                   " SG_ Other m2 : 16|8@1+ (1,0) [0|0] \"V\"\n"
                   " SG_ Heat : 8|8@1+ (0.1,0) [0|0] \"°C\"\n"
                   " SG_ Branch m1 : 16|8@1+ (0.33333333333333,0) [0|0] \"km/h\"\n"
                   "VAL_ 1 Selector 1 \"First\" ;\n",
                   "watch.dbc");
    }
};

/// There are no slots of these names; values come from the tests.
struct WatchLayout : testing::Test {
    std::size_t index(const std::string& signal) const {
        for (std::size_t i = 0; i < catalog.signals().size(); ++i) {
            if (catalog.signals()[i]->def.signal == signal) {
                return i;
            }
        }
        throw std::out_of_range(signal);
    }
    /// What a poll does that finds a value of this moment, in milliseconds.
    void give(const std::string& signal, unsigned long raw, std::uint64_t at, bool isClose = false) {
        BaseSignal& target = *catalog.signals()[index(signal)];
        target.writeRaw(raw, start + at * millisecond);
        const unsigned long id = target.id;
        model.startPoll({at * millisecond, start + at * millisecond}, isClose);
        model.written({start + at * millisecond, {}}, {&id, 1});
    }
    WatchRow row(const std::string& signal, std::uint64_t at) const {
        return model.row(index(signal), slots, {at * millisecond, start + at * millisecond});
    }
    std::string line(const std::string& signal, std::size_t width, std::uint64_t at) const {
        std::string text;
        for (const WatchCell& cell : watchColumns(width, model)) {
            text += (text.empty() ? "" : "|") + cellText(cell, row(signal, at), true);
        }
        return text;
    }
    std::string shown() const {
        std::string text;
        for (const std::size_t signal : model.shown()) {
            text += catalog.signals()[signal]->def.signal + ' ';
        }
        return text;
    }

    FilledCatalog catalog;
    WatchModel model{catalog, {}, {}};
    SlotReplay slots{catalog, model};
};

TEST_F(WatchLayout, LittleRoomKeepsWhatMatters) {
    give("Selector", 1, 1);
    give("Branch", 100, 1);
    const struct {
        std::size_t width;
        const char* header;
        const char* branch;
    } cases[] = {
        {100, "instance                        value unit text                  age    Hz course          ",
         "  WatchLayoutTest.Branch|*33.33333333|km/h|                | missing|     |                "},
        {60, "instance                        value unit      age    Hz",
         "  WatchLayoutTest.Branch|*33.33333333|km/h| missing|     "},
        {40, "instance                  value      age", "  …youtTest.Branch|*33.33333333| missing"},
        {20, "instance       value", "  …Branch|*33.333333"},
        {1, "", ""},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.width);
        const std::string header = headerText(watchColumns(expected.width, model));
        EXPECT_LE(textWidth(header), expected.width);
        EXPECT_EQ(line("Branch", expected.width, 1), expected.branch);
        EXPECT_EQ(header, expected.header);
    }
}

TEST_F(WatchLayout, AgesSayHowLongAgo) {
    const struct {
        std::int64_t ago; ///< milliseconds
        const char* text;
    } cases[] = {{0, "0.0s"},        {449, "0.4s"},         {9999, "9.9s"},         {59'999, "59s"},
                 {312'000, "5m12s"}, {11'100'000, "3h05m"}, {187'200'000, "2d04h"}, {-900, "0.0s"},
                 {-12'000, "in 12s"}};
    for (const auto& expected : cases) {
        const auto now = static_cast<std::uint64_t>(static_cast<std::int64_t>(start) +
                                                    expected.ago * static_cast<std::int64_t>(millisecond));
        EXPECT_EQ(ageText(start, now), expected.text);
    }
}

TEST_F(WatchLayout, RatesAreThoseOfTheTimeStamps) {
    for (std::uint64_t at = 0; at <= 40; at += 10) {
        give("Heat", at, at, at > 0);
    }
    give("Heat", 5, 940); // many were missed since
    give("Other", 1, 0);
    give("Other", 2, 500);
    give("Branch", 1, 960);
    give("Branch", 2, 964, true);
    give("Branch", 3, 968, true);
    model.settleRates();
    EXPECT_EQ(model.row(index("Heat"), slots, {0, start}).rate, "100");
    EXPECT_EQ(model.row(index("Other"), slots, {0, start}).rate, "2.0");
    EXPECT_EQ(model.row(index("Branch"), slots, {0, start}).rate, ">133");
    EXPECT_EQ(row("Heat", 4000).rate, "") << "stale";
}

TEST_F(WatchLayout, BranchesStandBelowTheirMultiplexer) {
    EXPECT_EQ(shown(), "Selector Other Branch Heat ");
    model.setFilter("*Test.[BO]*");
    EXPECT_EQ(shown(), "Other Branch ");
    model.setFilter("hEa");
    EXPECT_EQ(shown(), "Heat ");
    model.setFilter("");
    give("Heat", 1, 100);
    give("Branch", 1, 300);
    give("Selector", 1, 200);
    model.setOrder(WatchOrder::Age, false);
    EXPECT_EQ(shown(), "Branch Selector Heat Other ");
    model.setOrder(WatchOrder::Changed, true);
    EXPECT_EQ(shown(), "Other Heat Branch Selector ");
    model.setOnlyValues(true);
    EXPECT_EQ(shown(), "Heat Branch Selector ");
}

TEST_F(WatchLayout, CoursesLieBetweenTheirLowestAndHighestValue) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double most = std::numeric_limits<double>::max();
    std::array<double, SignalTrack::samples> history{};
    history.fill(none);
    std::copy_n(std::array{0.0, 7.0, 8.0, none, 4.0, 1.0}.begin(), 6, history.begin());
    EXPECT_EQ(courseText(history, true), "▁██ ▅▂          ");
    EXPECT_EQ(courseText(history, false), "_## =.          ");
    history.fill(3);
    EXPECT_EQ(courseText(history, true), "▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁");
    history.fill(-most);
    history.back() = most;
    EXPECT_EQ(courseText(history, false), "_______________#");
}

} // namespace
} // namespace rksignal

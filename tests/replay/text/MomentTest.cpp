#include "text/Moment.h"

#include "text/NumberText.h"

#include <gtest/gtest.h>

#include <string>

namespace rksignal {
namespace {

/// With times that `date -u -d TEXT +%s.%N` of GNU coreutils gives for the dates.
TEST(Moment, IsReadExactlyAndInItsZone) {
    const struct {
        const char* text;
        const char* expected; ///< `+` in front: relative
    } rows[] = {
        {"1700000012.345678901", "1700000012.345678901"},
        {"2.", "2.000000"},
        {"+12.5s", "+12.500000"},
        {"+0.25", "+0.250000"},
        {"+1500ms", "+1.500000"},
        {"+2min", "+120.000000"},
        {"+1.5h", "+5400.000000"},
        {"2026-11-22T10:00:00+01:00", "1795338000.000000"},
        {"2026-11-22T09:00:00.25Z", "1795338000.250000"},
        {"2024-02-29T23:59-0530", "1709270940.000000"},
        {"1970-01-01T01:00+01", "0.000000"},
        {"2553-12-31T23:59:59Z", "18429292799.000000"},
    };
    for (const auto& [text, expected] : rows) {
        const auto moment = parseMoment(text);
        ASSERT_TRUE(moment) << text;
        EXPECT_EQ((moment->isRelative ? "+" : "") + timeText(moment->nanoseconds), expected) << text;
    }
    for (const char* const text : {"",
                                   "+",
                                   "-1",
                                   "1e3",
                                   "1.0000000001",
                                   "1s",
                                   "+1 s",
                                   "+1m",
                                   "18446744074",
                                   "+9000000000000h",
                                   "T",
                                   "2026-11-22",
                                   "2026-11-22T10:00:00",
                                   "2026-11-22T10:00:0Z",
                                   "2026-11-22T24:00:00Z",
                                   "2026-02-29T10:00:00Z",
                                   "2026-11-22T10:60Z",
                                   "2026-11-22T10:00:00+1:00",
                                   "2026-11-22T10:00:00+01:00x",
                                   "1970-01-01T00:00+01:00",
                                   "1969-12-31T23:00:00Z",
                                   "2554-01-01T00:00:00Z"}) {
        EXPECT_FALSE(parseMoment(text)) << text;
    }
}

TEST(Moment, IsShownInThreeForms) {
    const std::uint64_t time = 1'709'251'199'999'999'000, next = time + 1000; // around the end of a leap day
    TimeText iso({TimeStyle::Iso, 0});
    char text[maxNumberText];
    EXPECT_EQ(std::string(text, iso.write(text, time)), "2024-02-29T23:59:59.999999Z");
    EXPECT_EQ(std::string(text, iso.write(text, next + 1)), "2024-03-01T00:00:00.000000001Z");
    TimeText relative({TimeStyle::Relative, next});
    EXPECT_EQ(std::string(text, relative.write(text, next + 2'500'000'000)), "2.500000");
    EXPECT_EQ(std::string(text, relative.write(text, time)), "-0.000001");
}

} // namespace
} // namespace rksignal

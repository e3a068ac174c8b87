/// \file
/// Text forms and the log lock of the utility library.
#include "rkutil/LogUtil.h"
#include "rkutil/hexdump.h"
#include "rkutil/macaddr.h"
#include "rkutil/printTime.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iomanip>
#include <limits>
#include <numeric>
#include <sstream>
#include <thread>
#include <vector>

namespace {

/// A stream whose settings would spoil numbers, if they mattered.
std::ostringstream awkwardStream() {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase << std::showpos << std::setfill('*');
    return out;
}

// Dates from date(1).
TEST(PrintTime, WritesDateAndTimeInUtc) {
    const struct {
        const char* name;
        std::uint64_t timestamp;
        const char* text;
    } rows[] = {
        {"epoch", 0, "1970-01-01 00:00:00.000000000"},
        {"one nanosecond", 1, "1970-01-01 00:00:00.000000001"},
        {"last nanosecond of a second", 999'999'999, "1970-01-01 00:00:00.999999999"},
        {"leap day of a century", 951'827'696'000'000'789, "2000-02-29 12:34:56.000000789"},
        {"end of a leap year's 28 February", 1'709'164'799'999'999'999, "2024-02-28 23:59:59.999999999"},
        {"end of February 2100, not a leap year", 4'107'542'399'000'000'000, "2100-02-28 23:59:59.000000000"},
        {"the second after", 4'107'542'400'000'000'000, "2100-03-01 00:00:00.000000000"},
        {"largest", std::numeric_limits<std::uint64_t>::max(), "2554-07-21 23:34:33.709551615"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::ostringstream plain;
        EXPECT_EQ(&printTime(plain, row.timestamp), &plain);
        EXPECT_EQ(plain.str(), row.text);
        std::ostringstream awkward = awkwardStream();
        printTime(awkward, row.timestamp) << 255;
        EXPECT_EQ(awkward.str(), row.text + std::string("0XFF"));
    }
}

TEST(Hexdump, SixteenBytesALine) {
    std::vector<std::uint8_t> data(33);
    std::iota(data.begin(), data.end(), std::uint8_t{0xF0});
    const std::string first = "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\n";
    const struct {
        std::size_t length;
        std::string text;
    } rows[] = {
        {0, ""},
        {1, "f0\n"},
        {3, "f0 f1 f2\n"},
        {16, first},
        {17, first + "00\n"},
        {33, first + "00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n10\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        std::ostringstream out = awkwardStream();
        hexdump(out, data.data(), row.length);
        EXPECT_EQ(out.str(), row.text);
    }
}

TEST(MacAddress, SixOctetsMostSignificantFirst) {
    const struct {
        std::uint64_t address;
        const char* text;
    } rows[] = {
        {0, "00:00:00:00:00:00"},
        {0x0123456789AB, "01:23:45:67:89:ab"},
        {0xFFFFFFFFFFFF, "ff:ff:ff:ff:ff:ff"},
        {0xABCD00000000000A, "00:00:00:00:00:0a"},
    };
    for (const auto& row : rows) {
        std::ostringstream out = awkwardStream();
        macaddr_t(row.address).print(out);
        EXPECT_EQ(out.str(), row.text);
    }
}

TEST(LogUtil, PrintErrorCompletesALine) {
    std::ostringstream out;
    out << "open";
    LogUtil::printError(out, ENOENT);
    LogUtil::printError(out, EINVAL);
    EXPECT_EQ(out.str(), "open: No such file or directory\n: Invalid argument\n");
}

TEST(LogUtil, LogMutexIsRecursiveAndExclusive) {
    const std::lock_guard outer(LogUtil::logMutex);
    const std::lock_guard inner(LogUtil::logMutex);
    bool taken = true;
    std::thread([&taken] {
        taken = LogUtil::logMutex.try_lock();
        if (taken)
            LogUtil::logMutex.unlock();
    }).join();
    EXPECT_FALSE(taken);
}

} // namespace

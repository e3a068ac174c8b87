/// \file
/// Text forms and the log lock of the utility library.
#include "rkutil/LogUtil.h"
#include "rkutil/macaddr.h"
#include "rkutil/printTime.h"

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <sstream>
#include <thread>

namespace {

/// What `print` writes to a stream whose settings would spoil numbers, if they mattered.
std::string printed(const std::function<void(std::ostream&)>& print) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase << std::showpos << std::setfill('*');
    print(out);
    return out.str();
}

// Dates from date(1).
TEST(PrintTime, WritesDateAndTimeInUtc) {
    const std::pair<std::uint64_t, const char*> rows[] = {
        {951'827'696'000'000'789, "2000-02-29 12:34:56.000000789"},
        {4'107'542'399'999'999'999, "2100-02-28 23:59:59.999999999"},
        {4'107'542'400'000'000'000, "2100-03-01 00:00:00.000000000"},
        {~std::uint64_t{0}, "2554-07-21 23:34:33.709551615"},
    };
    for (const auto& [timestamp, text] : rows)
        EXPECT_EQ(printed([stamp = timestamp](std::ostream& out) { printTime(out, stamp) << 255; }),
                  text + std::string("0XFF"));
}

TEST(MacAddress, SixOctetsMostSignificantFirst) {
    EXPECT_EQ(printed([](std::ostream& out) { macaddr_t(0xFFFF0123456789AB).print(out); }),
              "01:23:45:67:89:ab");
}

TEST(LogUtil, LogMutexIsRecursiveAndExclusive) {
    const std::lock_guard outer(LogUtil::logMutex), inner(LogUtil::logMutex);
    std::thread([] {
        const std::unique_lock other(LogUtil::logMutex, std::try_to_lock);
        EXPECT_FALSE(other.owns_lock());
    }).join();
}

} // namespace

#include "rkutil/printTime.h"

#include <chrono>
#include <cstdio>
#include <ostream>

std::ostream& printTime(std::ostream& out, std::uint64_t timestamp) {
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    constexpr std::uint64_t secondsPerDay = 86'400;
    const std::uint64_t seconds = timestamp / nanosecondsPerSecond;
    const auto days = static_cast<int>(seconds / secondsPerDay);
    const auto secondOfDay = static_cast<unsigned>(seconds % secondsPerDay);
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};

    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02u:%02u:%02u.%09u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), secondOfDay / 3600,
                  secondOfDay / 60 % 60, secondOfDay % 60,
                  static_cast<unsigned>(timestamp % nanosecondsPerSecond));
    return out.write(text, static_cast<std::streamsize>(std::char_traits<char>::length(text)));
}

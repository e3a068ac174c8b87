#include "trace/NmeaSentence.h"

#include "trace/Seconds.h"

#include <chrono>

namespace rksignal {
namespace {

/// The decimals of the time, which stands behind the first comma, as nanoseconds.
std::uint64_t fraction(std::string_view line) {
    constexpr std::size_t wholeSeconds = 6;
    const std::size_t point = line.find(',') + 1 + wholeSeconds;
    std::size_t end = 0;
    return point < line.size() && line[point] == '.' ? decimals(line.substr(point + 1), end) : 0;
}

/// \param time hhmmss, negative if there is none
std::optional<std::uint64_t> timeOfDay(std::int64_t time, std::string_view line) {
    const std::int64_t hours = time / 10000, minutes = time / 100 % 100, seconds = time % 100;
    if (time < 0 || hours > 23 || minutes > 59 || seconds > 60) { // 60: a leap second
        return std::nullopt;
    }
    const auto whole = static_cast<std::uint64_t>(3600 * hours + 60 * minutes + seconds);
    return whole * nanosecondsPerSecond + fraction(line);
}

/// \param date ddmmyy, negative if there is none
std::optional<std::uint64_t> midnight(std::int64_t date) {
    using namespace std::chrono;
    const auto year = static_cast<int>(date % 100);
    const year_month_day day{std::chrono::year{year < 80 ? 2000 + year : 1900 + year},
                             month{static_cast<unsigned>(date / 100 % 100)},
                             std::chrono::day{static_cast<unsigned>(date / 10000)}};
    if (date < 0 || !day.ok()) {
        return std::nullopt;
    }
    const auto since = duration_cast<nanoseconds>(sys_days(day).time_since_epoch());
    return static_cast<std::uint64_t>(since.count());
}

bool isOfType(std::string_view line, std::string_view type) {
    constexpr std::size_t typeAt = 3; // behind `$` and the talker
    return line.size() > typeAt && line.substr(typeAt, type.size()) == type;
}

} // namespace

NmeaSentenceReader::Result NmeaSentenceReader::read(std::string_view line, NmeaSentence& sentence) {
    if (line.front() == '#' || line.front() == '!') {
        return Result::Other;
    }
    if (line.front() != '$') {
        return Result::Damaged;
    }
    probe.sentences = line;
    GPSTraceMessage::numeric_gprmc_t rmc;
    GPSTraceMessage::numeric_gpgga_t gga;
    rmc.time = rmc.date = gga.time = -1; // stay so when the sentence has none
    if (probe.getGPRMC(rmc)) {
        sentence = {NmeaSentence::Type::Rmc, timeOfDay(rmc.time, line), midnight(rmc.date)};
        return Result::Values;
    }
    if (probe.getGPGGA(gga)) {
        sentence = {NmeaSentence::Type::Gga, timeOfDay(gga.time, line), std::nullopt};
        return Result::Values;
    }
    return isOfType(line, "RMC") || isOfType(line, "GGA") ? Result::Damaged : Result::Other;
}

} // namespace rksignal

#include "trace/log/NmeaSentence.h"

#include "trace/log/Seconds.h"

#include <algorithm>
#include <charconv>
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

std::optional<std::uint64_t> midnight(std::int64_t year, std::int64_t month, std::int64_t day) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year{static_cast<int>(year)},
                              std::chrono::month{static_cast<unsigned>(month)},
                              std::chrono::day{static_cast<unsigned>(day)}};
    if (year < 1970 || year > 2261 || !date.ok()) { // 64 bits of nanoseconds
        return std::nullopt;
    }
    const auto since = duration_cast<nanoseconds>(sys_days(date).time_since_epoch());
    return static_cast<std::uint64_t>(since.count());
}

/// \param date ddmmyy, negative if there is none
std::optional<std::uint64_t> midnight(std::int64_t date) {
    const std::int64_t year = date % 100;
    return date < 0 ? std::nullopt
                    : midnight(year < 80 ? 2000 + year : 1900 + year, date / 100 % 100, date / 10000);
}

bool isOfType(std::string_view line, std::string_view type) {
    constexpr std::size_t typeAt = 3; // behind `$` and the talker
    return line.size() > typeAt && line.substr(typeAt, type.size()) == type;
}

bool isUpperCaseOrDigit(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
}

/// Whether `*` and the exclusive or of the bytes between `$` and `*` stand behind the sentence.
bool hasRightChecksum(std::string_view sentence) {
    const std::size_t star = std::min(sentence.find('*'), sentence.size());
    unsigned expected = 0;
    for (const char byte : sentence.substr(1, star - 1)) {
        expected ^= static_cast<unsigned char>(byte);
    }
    const std::string_view digits = sentence.substr(std::min(star + 1, sentence.size()), 2);
    unsigned sum = 0;
    const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), sum, 16);
    return digits.size() == 2 && end == digits.data() + 2 && status == std::errc() && sum == expected;
}

/// The next field as a whole number, -1 if it is none; decimals are cut off.
std::int64_t nextNumber(std::string_view& fields) {
    const std::string_view field = fields.substr(0, fields.find_first_of(",*"));
    fields.remove_prefix(std::min(field.size() + 1, fields.size()));
    std::int64_t value = -1;
    std::from_chars(field.data(), field.data() + field.size(), value);
    return value;
}

/// `$GPZDA,hhmmss.ss,dd,mm,yyyy,zz,zz*hh`
NmeaSentence readZda(std::string_view line) {
    std::string_view fields = line.substr(line.find(',') + 1);
    const std::int64_t time = nextNumber(fields), day = nextNumber(fields), month = nextNumber(fields);
    return {NmeaSentence::Type::Zda, timeOfDay(time, line), midnight(nextNumber(fields), month, day)};
}

/// Whether there are bytes that no text has.
bool isBinary(std::string_view line) {
    return std::any_of(line.begin(), line.end(), [](unsigned char byte) {
        return (byte < ' ' && byte != '\t' && byte != '\r' && byte != '\n') || byte > '~';
    });
}

} // namespace

std::string_view sentenceIn(std::string_view line) {
    constexpr std::size_t addressSize = 5; // talker and type; proprietary ones may have fewer
    for (std::size_t at = line.rfind('$'); at != line.npos;
         at = at > 0 ? line.rfind('$', at - 1) : line.npos) {
        const std::string_view address = line.substr(at + 1, addressSize);
        const bool isWhole = address.size() == addressSize &&
                             std::all_of(address.begin(), address.end(), isUpperCaseOrDigit) &&
                             line.substr(at + 1 + addressSize).starts_with(',');
        if (isWhole || (at == 0 && !address.empty() && address.front() == 'P')) {
            return line.substr(at);
        }
    }
    return {};
}

NmeaSentenceReader::Result NmeaSentenceReader::read(std::string_view line, NmeaSentence& sentence) {
    if (line.front() == '#' || line.front() == '!') {
        return Result::Other;
    }
    if (line.front() != '$') {
        return isBinary(line) ? Result::Other : Result::Damaged;
    }
    if (isOfType(line, "ZDA") && hasRightChecksum(line)) {
        sentence = readZda(line);
        return sentence.midnight && sentence.timeOfDay ? Result::Date : Result::Other;
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

#include "trace/AscLine.h"

#include "trace/Seconds.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>

namespace rksignal {
namespace {

template <class Number>
std::optional<Number> number(std::string_view text, int base) {
    Number value = 0;
    const char* const textEnd = text.data() + text.size();
    const auto [end, status] = std::from_chars(text.data(), textEnd, value, base);
    return status == std::errc() && end == textEnd ? std::optional(value) : std::nullopt;
}

/// `SECONDS[.FRACTION]`, exactly; further decimals than nanoseconds are cut off.
std::optional<std::uint64_t> seconds(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto whole = number<std::uint64_t>(text.substr(0, point), 10);
    if (!whole || *whole >= ~std::uint64_t{0} / nanosecondsPerSecond) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(std::min(point + 1, text.size()));
    std::size_t end = 0;
    const std::uint64_t fraction = decimals(rest, end);
    return end == rest.size() ? std::optional(*whole * nanosecondsPerSecond + fraction) : std::nullopt;
}

bool sameWord(std::string_view left, std::string_view right) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 'a' - 'A') : letter;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

/// 1 to 12 by the first letters in English or German, else 0.
unsigned monthNumber(std::string_view name) {
    constexpr std::array<std::array<std::string_view, 2>, 12> months = {{{"jan", "jan"},
                                                                         {"feb", "feb"},
                                                                         {"mar", "mär"},
                                                                         {"apr", "apr"},
                                                                         {"may", "mai"},
                                                                         {"jun", "jun"},
                                                                         {"jul", "jul"},
                                                                         {"aug", "aug"},
                                                                         {"sep", "sep"},
                                                                         {"oct", "okt"},
                                                                         {"nov", "nov"},
                                                                         {"dec", "dez"}}};
    const auto month = std::find_if(months.begin(), months.end(), [name](const auto& spellings) {
        return std::any_of(spellings.begin(), spellings.end(), [name](std::string_view spelling) {
            return sameWord(name.substr(0, spelling.size()), spelling);
        });
    });
    return month != months.end() ? static_cast<unsigned>(month - months.begin()) + 1 : 0;
}

/// `hh:mm:ss[.mmm]` as nanoseconds.
std::optional<std::uint64_t> clockTime(std::string_view text) {
    const std::size_t first = std::min(text.find(':'), text.size());
    const std::size_t second = std::min(text.find(':', first + 1), text.size());
    if (second == text.size()) {
        return std::nullopt;
    }
    const auto hours = number<std::uint8_t>(text.substr(0, first), 10);
    const auto minutes = number<std::uint8_t>(text.substr(first + 1, second - first - 1), 10);
    const auto rest = seconds(text.substr(second + 1));
    if (!hours || !minutes || !rest || *hours > 23 || *minutes > 59 || *rest >= 61 * nanosecondsPerSecond) {
        return std::nullopt;
    }
    return (*hours * 3600U + *minutes * 60U) * nanosecondsPerSecond + *rest;
}

/// The sum of two times; nothing if it is beyond 64 bits of nanoseconds.
std::optional<std::uint64_t> later(std::uint64_t time, std::uint64_t distance) {
    std::uint64_t sum = 0;
    return __builtin_add_overflow(time, distance, &sum) ? std::nullopt : std::optional(sum);
}

/// The channel of `Li` or `L2`, or nothing.
std::optional<std::uint8_t> linChannel(std::string_view word) {
    if (word == "Li") {
        return std::uint8_t{1};
    }
    return word.size() > 1 && word.front() == 'L' ? number<std::uint8_t>(word.substr(1), 10) : std::nullopt;
}

} // namespace

/// The words of a line, from left to right; empty behind the last one.
class AscLineReader::Words {
  public:
    explicit Words(std::string_view line) : rest(line) {}

    std::string_view next() {
        constexpr const char* blanks = " \t";
        rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
        const std::string_view word = rest.substr(0, rest.find_first_of(blanks));
        rest.remove_prefix(word.size());
        return word;
    }

    /// Reads `count` bytes to `to`. \return whether there are so many
    bool bytes(std::uint8_t* to, std::size_t count, int base) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto byte = number<std::uint8_t>(next(), base);
            if (!byte) {
                return false;
            }
            to[i] = *byte;
        }
        return true;
    }

  private:
    std::string_view rest;
};

AscLineReader::Result AscLineReader::malformed(const char* why) {
    reason = why;
    return Result::Malformed;
}

AscLineReader::Result AscLineReader::read(std::string_view line) {
    Words words(line);
    const std::string_view first = words.next();
    if (const auto time = seconds(first)) {
        return readEvent(*time, words);
    }
    if (sameWord(first, "date")) {
        return readDate(words);
    }
    if (sameWord(first, "base")) {
        return readBase(words);
    }
    if (sameWord(first, "begin")) {
        return readBlock(words);
    }
    constexpr std::array<std::string_view, 4> remarks = {"no", "internal", "//", "end"};
    const bool isRemark = first.empty() || std::any_of(remarks.begin(), remarks.end(),
                                                       [first](auto word) { return sameWord(first, word); });
    return isRemark ? Result::Nothing : malformed("neither an event with its time nor a line of the header");
}

/// `Mon May 18 10:00:00.000 [am|pm] 2026`
AscLineReader::Result AscLineReader::readDate(Words words) {
    using namespace std::chrono;
    words.next(); // day of the week
    const unsigned month = monthNumber(words.next());
    const auto day = number<std::uint8_t>(words.next(), 10);
    const auto clock = clockTime(words.next());
    std::string_view last = words.next();
    const bool isHalfDay = sameWord(last, "am") || sameWord(last, "pm");
    const bool isAfternoon = sameWord(last, "pm");
    const auto year = number<std::uint16_t>(isHalfDay ? words.next() : last, 10);
    const year_month_day date{std::chrono::year{year.value_or(0)}, std::chrono::month{month},
                              std::chrono::day{day.value_or(0)}};
    if (!clock || !date.ok() || year.value_or(0) < 1970 || *year > 9999) {
        return malformed("date is not of the form 'Mon May 18 10:00:00.000 2026'");
    }
    constexpr std::uint64_t wholeDay = 86'400 * nanosecondsPerSecond;
    constexpr std::uint64_t halfDay = 43'200 * nanosecondsPerSecond;
    const std::uint64_t ofDay =
        isHalfDay ? *clock % halfDay + (isAfternoon ? halfDay : 0) : *clock; // 12 am is midnight
    const auto days = static_cast<std::uint64_t>(sys_days(date).time_since_epoch().count());
    constexpr std::uint64_t lastDay = ~std::uint64_t{0} / wholeDay;
    const auto time = days <= lastDay ? later(days * wholeDay, ofDay) : std::nullopt;
    if (!time) {
        return malformed("date is beyond 64 bits of nanoseconds");
    }
    start = timestamp = *time;
    return Result::Nothing;
}

/// `Begin Triggerblock Mon May 18 10:00:00.000 2026`: the times of the block count from here. Without a date
/// they go on as before.
AscLineReader::Result AscLineReader::readBlock(Words words) {
    const bool isTriggerBlock = sameWord(words.next(), "triggerblock");
    return isTriggerBlock && !Words(words).next().empty() ? readDate(words) : Result::Nothing;
}

/// `hex timestamps absolute`
AscLineReader::Result AscLineReader::readBase(Words words) {
    const std::string_view numbers = words.next();
    words.next();
    const std::string_view times = words.next();
    base = sameWord(numbers, "dec") ? 10 : 16;
    isRelative = sameWord(times, "relative");
    const bool isKnown = (base == 10 || sameWord(numbers, "hex")) &&
                         (isRelative || times.empty() || sameWord(times, "absolute"));
    return isKnown ? Result::Nothing : malformed("base is not hex or dec with absolute or relative times");
}

AscLineReader::Result AscLineReader::readEvent(std::uint64_t time, Words words) {
    const auto moment = later(isRelative ? timestamp : start, time);
    if (!moment) {
        return malformed("time is beyond 64 bits of nanoseconds");
    }
    timestamp = *moment;
    const std::string_view word = words.next();
    if (const auto channel = number<std::uint8_t>(word, 10)) {
        return readCan(*channel, words);
    }
    const auto channel = linChannel(word);
    return channel ? readLin(*channel, words) : Result::Other;
}

/// `200x Rx d 8 02 10 ...`
AscLineReader::Result AscLineReader::readCan(std::uint8_t channel, Words words) {
    std::string_view identifier = words.next();
    if (sameWord(identifier, "ErrorFrame")) {
        return Result::Error;
    }
    const bool isExtended = identifier.ends_with('x');
    identifier.remove_suffix(isExtended ? 1 : 0);
    const auto id = number<std::uint32_t>(identifier, base);
    const std::string_view direction = words.next();
    if (!id || (!sameWord(direction, "Rx") && !sameWord(direction, "Tx"))) {
        return Result::Other; // statistics and the like
    }
    const std::string_view kind = words.next();
    if (kind == "r") {
        return Result::Remote;
    }
    const auto length = number<std::uint8_t>(words.next(), 16);
    if (kind != "d" || !length || *length > 8 || *id > (isExtended ? 0x1FFFFFFFU : 0x7FFU)) {
        return malformed("not a classic CAN frame");
    }
    can.timestamp = timestamp;
    can.channel = channel;
    can.canId = *id;
    can.frameFormat = isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard;
    can.length = *length;
    return words.bytes(can.payload.data(), *length, base) ? Result::Can
                                                          : malformed("fewer data bytes than announced");
}

/// `3c Rx 8 01 02 ... checksum = ab`
AscLineReader::Result AscLineReader::readLin(std::uint8_t channel, Words words) {
    const auto id = number<std::uint8_t>(words.next(), base);
    const std::string_view direction = words.next();
    if (!id || (!sameWord(direction, "Rx") && !sameWord(direction, "Tx"))) {
        return Result::Error; // a checksum error, a frame without an answer and the like
    }
    const auto length = number<std::uint8_t>(words.next(), 10);
    if (!length || *length > 8) {
        return malformed("not a LIN frame");
    }
    lin.timestamp = timestamp;
    lin.channel = channel;
    lin.protectedId = *id;
    lin.data.resize(*length);
    return words.bytes(lin.data.data(), *length, base) ? Result::Lin
                                                       : malformed("fewer data bytes than announced");
}

} // namespace rksignal

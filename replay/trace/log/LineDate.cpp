#include "trace/log/LineDate.h"

#include "trace/log/LineWords.h"

#include <array>
#include <chrono>

namespace rksignal {
namespace {

constexpr std::uint64_t wholeDay = 86'400 * nanosecondsPerSecond;
constexpr std::uint64_t halfDay = wholeDay / 2;

/// 1 to 12 by the first letters in English or German, else 0.
unsigned monthNumber(std::string_view name) {
    struct Month {
        std::string_view begin;
        unsigned number;
    };
    constexpr Month months[] = {{"jan", 1},  {"j\xC3\xA4n", 1}, {"j\xE4n", 1}, {"feb", 2},  {"mar", 3},
                                {"mrz", 3},  {"m\xC3\xA4r", 3}, {"m\xE4r", 3}, {"apr", 4},  {"may", 5},
                                {"mai", 5},  {"jun", 6},        {"jul", 7},    {"aug", 8},  {"sep", 9},
                                {"oct", 10}, {"okt", 10},       {"nov", 11},   {"dec", 12}, {"dez", 12}};
    const auto* const month = std::find_if(std::begin(months), std::end(months), [name](const Month& each) {
        return sameWord(name.substr(0, each.begin.size()), each.begin);
    });
    return month != std::end(months) ? month->number : 0;
}

bool takeOneOf(std::string_view& text, std::string_view characters) {
    const bool isThere = !text.empty() && characters.find(text.front()) != characters.npos;
    text.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

/// What stands behind the seconds: decimals behind `.` or `,`, among which TRC logs put another point behind
/// the milliseconds (`10.165.5`); behind `:` up to three digits are a number of milliseconds, without leading
/// zeros, and more are decimals.
std::optional<std::uint64_t> secondFraction(std::string_view text) {
    constexpr std::uint64_t millisecond = nanosecondsPerSecond / 1000;
    if (text.size() <= 4 && takeOneOf(text, ":")) {
        const auto milliseconds = parseNumber<std::uint64_t>(text);
        return milliseconds ? std::optional(*milliseconds * millisecond) : std::nullopt;
    }
    std::size_t end = 0;
    std::uint64_t fraction = takeOneOf(text, ".,:") ? decimals(text, end) : 0;
    constexpr std::size_t ofMilliseconds = 3;
    if (end == ofMilliseconds && text.substr(end).starts_with('.')) {
        text.remove_prefix(end + 1);
        fraction += decimals(text, end) / 1000;
    }
    return end == text.size() ? std::optional(fraction) : std::nullopt;
}

/// A date in the making: the words in which it is told may come in any order.
class DateWords {
  public:
    /// \return whether the word can be part of a date
    bool take(std::string_view word) {
        if (const auto time = parseClock(word)) {
            clock = *time;
            return *time <= wholeDay;
        }
        if (sameWord(word, "am") || sameWord(word, "pm")) {
            isHalfDay = true;
            isAfternoon = sameWord(word, "pm");
            return true;
        }
        return word.find_first_of("0123456789") != word.npos ? takeNumbers(word) : takeName(word);
    }

    DateFault finish(std::uint64_t& time) const {
        using namespace std::chrono;
        const year_month_day date{std::chrono::year{static_cast<int>(year)}, std::chrono::month{month},
                                  std::chrono::day{day}};
        if (!date.ok() || year < 1970 || year > 9999) {
            return DateFault::Form;
        }
        const auto days = static_cast<std::uint64_t>(sys_days(date).time_since_epoch().count());
        const std::uint64_t ofDay = // 12 am is midnight
            isHalfDay ? clock % halfDay + (isAfternoon ? halfDay : 0) : clock;
        const auto sum = days <= ~std::uint64_t{0} / wholeDay ? later(days * wholeDay, ofDay) : std::nullopt;
        time = sum.value_or(0);
        return sum ? DateFault::None : DateFault::Beyond;
    }

  private:
    /// `18`, `2026`, `18.05.2026`, `18:5:2026` or `2026-05-18`
    bool takeNumbers(std::string_view word) {
        const auto first = takeNumber<unsigned>(word);
        if (first && word.empty()) {
            (*first > 31 ? year : day) = *first;
            return true;
        }
        const bool isYearFirst = word.starts_with('-');
        const std::string_view between = word.substr(0, 1);
        const bool hasSecond = takeOneOf(word, ".:-");
        const auto second = takeNumber<unsigned>(word);
        const bool hasThird = takeOneOf(word, between);
        const auto third = parseNumber<unsigned>(word);
        if (!first || !hasSecond || !second || !hasThird || !third) {
            return false;
        }
        year = isYearFirst ? *first : *third;
        month = *second;
        day = isYearFirst ? *third : *first;
        return true;
    }

    /// A month, or else a day of the week or a time zone. The month may look like the day of the week before.
    bool takeName(std::string_view word) {
        if (const unsigned number = monthNumber(word)) {
            month = number;
        }
        return true;
    }

    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    std::uint64_t clock = 0;
    bool isHalfDay = false;
    bool isAfternoon = false;
};

} // namespace

std::optional<std::uint64_t> parseClock(std::string_view text) {
    const auto hours = takeNumber<std::uint16_t>(text);
    const bool hasMinutes = takeOneOf(text, ":");
    const auto minutes = takeNumber<std::uint8_t>(text);
    const bool hasSeconds = takeOneOf(text, ":");
    const auto seconds = takeNumber<std::uint8_t>(text);
    if (!hours || !hasMinutes || !minutes || *minutes > 59 || !hasSeconds || !seconds || *seconds > 60) {
        return std::nullopt;
    }
    const auto fraction = secondFraction(text);
    if (!fraction) {
        return std::nullopt;
    }
    return (*hours * 3600U + *minutes * 60U + *seconds) * nanosecondsPerSecond + *fraction;
}

DateFault parseDate(std::string_view text, std::uint64_t& time) {
    LineWords words(text);
    DateWords date;
    for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
        while (word.ends_with(',') || word.ends_with('.')) {
            word.remove_suffix(1);
        }
        if (!date.take(word)) {
            return DateFault::Form;
        }
    }
    return date.finish(time);
}

} // namespace rksignal

#include "text/Moment.h"

#include "text/ParseNumber.h"

#include <chrono>
#include <cstdlib>
#include <iterator>
#include <string>

namespace rksignal {
namespace {

constexpr std::uint64_t second = 1'000'000'000;

/// Takes a number of `digits` digits, and `behind` if it is not 0, from the front.
std::optional<unsigned> takeDigits(std::string_view& text, std::size_t digits, char behind = 0) {
    const std::size_t length = digits + (behind != 0 ? 1 : 0);
    if (text.size() < length || (behind != 0 && text[digits] != behind)) {
        return std::nullopt;
    }
    const auto number = parseNumber<unsigned>(text.substr(0, digits));
    text.remove_prefix(length);
    return number;
}

/// Takes `2026-11-22T`. \return the nanoseconds up to midnight
std::optional<std::uint64_t> takeDate(std::string_view& text) {
    using namespace std::chrono;
    const auto year = takeDigits(text, 4, '-');
    const auto month = year ? takeDigits(text, 2, '-') : std::nullopt;
    const auto day = month ? takeDigits(text, 2, 'T') : std::nullopt;
    if (!day) {
        return std::nullopt;
    }
    const year_month_day date{std::chrono::year(static_cast<int>(*year)), std::chrono::month(*month),
                              std::chrono::day(*day)};
    if (!date.ok() || *year < 1970 || *year > 2553) { // what 64 bits of nanoseconds hold
        return std::nullopt;
    }
    constexpr std::uint64_t secondsADay = 86'400;
    return static_cast<std::uint64_t>(sys_days(date).time_since_epoch().count()) * secondsADay * second;
}

/// Takes `:05.25` if it is there. \return nanoseconds
std::optional<std::uint64_t> takeSeconds(std::string_view& text) {
    if (!text.starts_with(':')) {
        return 0;
    }
    const std::string_view number = text.substr(1, text.find_first_not_of("0123456789.", 1) - 1);
    text.remove_prefix(1 + number.size());
    const bool hasTwoDigits = std::min(number.find('.'), number.size()) == 2;
    const auto nanoseconds = hasTwoDigits ? decimalSeconds(number) : std::nullopt;
    return nanoseconds && *nanoseconds < 61 * second ? nanoseconds : std::nullopt;
}

/// `Z`, `+01:00`, `-0530` or `+01`, in minutes east of Greenwich.
std::optional<int> parseZone(std::string_view text) {
    if (text == "Z") {
        return 0;
    }
    const bool isWest = text.starts_with('-');
    if (!isWest && !text.starts_with('+')) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    const auto hours = takeDigits(text, 2);
    text.remove_prefix(text.starts_with(':') ? 1 : 0);
    const auto minutes = text.empty() ? std::optional(0U) : takeDigits(text, 2);
    if (!hours || !minutes || !text.empty() || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    const int offset = static_cast<int>(*hours * 60 + *minutes);
    return isWest ? -offset : offset;
}

std::optional<std::uint64_t> parseIso(std::string_view text) {
    const auto midnight = takeDate(text);
    const auto hours = midnight ? takeDigits(text, 2, ':') : std::nullopt;
    const auto minutes = hours ? takeDigits(text, 2) : std::nullopt;
    const auto seconds = minutes ? takeSeconds(text) : std::nullopt;
    const auto zone = seconds ? parseZone(text) : std::nullopt;
    if (!zone || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    constexpr std::uint64_t minute = 60 * second;
    const std::uint64_t local = *midnight + (std::uint64_t{60} * *hours + *minutes) * minute + *seconds;
    const std::uint64_t offset = static_cast<std::uint64_t>(std::abs(*zone)) * minute;
    if (*zone < 0) {
        return local + offset;
    }
    return offset <= local ? std::optional(local - offset) : std::nullopt;
}

} // namespace

std::optional<std::uint64_t> decimalSeconds(std::string_view text) {
    constexpr std::size_t decimals = 9;
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    if (point == 0 || fraction.size() > decimals) {
        return std::nullopt;
    }
    std::string digits(text.substr(0, point));
    digits.append(fraction).append(decimals - fraction.size(), '0');
    return parseNumber<std::uint64_t>(digits);
}

std::optional<std::uint64_t> parseDuration(std::string_view text) {
    struct Unit {
        std::string_view name;
        std::uint64_t multiplier;
        std::uint64_t divisor;
    };
    constexpr Unit units[] = {{"ns", 1, 1'000'000'000}, {"us", 1, 1'000'000}, {"ms", 1, 1000}, {"s", 1, 1},
                              {"min", 60, 1},           {"h", 3600, 1},       {"", 1, 1}};
    const std::size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto* const unit = std::find_if(std::begin(units), std::end(units),
                                          [&](const Unit& each) { return each.name == text.substr(end); });
    const auto number = decimalSeconds(text.substr(0, end));
    if (!number || unit == std::end(units) || *number > ~std::uint64_t{0} / unit->multiplier) {
        return std::nullopt;
    }
    return *number * unit->multiplier / unit->divisor;
}

std::optional<Moment> parseMoment(std::string_view text) {
    const bool isRelative = text.starts_with('+');
    const auto nanoseconds = isRelative                                 ? parseDuration(text.substr(1))
                             : text.find('T') != std::string_view::npos ? parseIso(text)
                                                                        : decimalSeconds(text);
    return nanoseconds ? std::optional(Moment{*nanoseconds, isRelative}) : std::nullopt;
}

} // namespace rksignal

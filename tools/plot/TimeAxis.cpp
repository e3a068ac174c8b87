#include "plot/TimeAxis.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace rksignal {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t minute = 60 * second;
constexpr std::uint64_t hour = 60 * minute;
constexpr std::uint64_t day = 24 * hour;

/// From a second on.
constexpr std::array<std::uint64_t, 19> clockSteps = {
    second,     2 * second, 5 * second,  10 * second, 15 * second, 30 * second, minute,
    2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute, hour,        2 * hour,
    3 * hour,   6 * hour,   12 * hour,   day,         2 * day};

/// Times the ticks lie at, given what they count from. Ticks may lie before `origin`.
struct Raster {
    std::uint64_t origin;
    std::uint64_t step;

    std::uint64_t first(std::uint64_t from) const {
        const std::uint64_t past =
            from >= origin ? (step - (from - origin) % step) % step : (origin - from) % step;
        return from + past;
    }
    std::uint64_t count(std::uint64_t from, std::uint64_t to) const {
        const std::uint64_t past = first(from) - from;
        if (past > to - from) {
            return 0;
        }
        const std::uint64_t behindFirst = (to - from - past) / step;
        return std::max(behindFirst, behindFirst + 1); // the greatest number stays
    }
};

/// The least step that gives at most so many ticks: up to a second, and of a clock that counts on in seconds,
/// 1, 2 or 5 times a power of ten.
std::uint64_t stepOf(std::uint64_t from, std::uint64_t to, std::uint64_t origin, unsigned mostTicks,
                     bool isClock) {
    const auto fits = [&](std::uint64_t step) { return Raster{origin, step}.count(from, to) <= mostTicks; };
    constexpr std::uint64_t mostPower = 1'000'000'000'000'000'000;
    for (std::uint64_t power = 1; power < (isClock ? second : mostPower); power *= 10) {
        for (const std::uint64_t factor : {1U, 2U, 5U}) {
            if (fits(power * factor)) {
                return power * factor;
            }
        }
    }
    const auto* const step = std::find_if(clockSteps.begin(), clockSteps.end(), fits);
    if (isClock && step != clockSteps.end()) {
        return *step;
    }
    std::uint64_t days = 5 * day;
    while (!fits(days)) {
        days *= 2;
    }
    return days;
}

std::string padded(std::uint64_t value, std::size_t digits) {
    const std::string text = std::to_string(value);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

/// `.25`, with the decimals that multiples of the step have.
std::string decimals(std::uint64_t nanoseconds, std::uint64_t step) {
    if (step % second == 0) {
        return "";
    }
    std::size_t count = 9;
    for (std::uint64_t rest = step; rest % 10 == 0; rest /= 10) {
        --count;
    }
    return "." + padded(nanoseconds % second, 9).substr(0, count);
}

enum class SpanForm : std::uint8_t { Seconds, Minutes, Hours };

/// Of relative times up to `greatest`.
SpanForm spanForm(std::uint64_t greatest, std::uint64_t step) {
    return greatest <= 3 * minute || step % second != 0 ? SpanForm::Seconds
           : greatest < hour                            ? SpanForm::Minutes
                                                        : SpanForm::Hours;
}

std::string spanText(std::uint64_t span, std::uint64_t step, SpanForm form) {
    const std::uint64_t seconds = span / second;
    if (form == SpanForm::Seconds) {
        return std::to_string(seconds) + decimals(span, step);
    }
    const std::string last = padded(seconds % 60, 2);
    if (form == SpanForm::Minutes) {
        return std::to_string(seconds / 60) + ":" + last;
    }
    const std::string text = std::to_string(seconds / 3600) + ":" + padded(seconds / 60 % 60, 2);
    return step % minute == 0 ? text : text + ":" + last;
}

std::string isoText(std::uint64_t time) {
    return timeText(time / second * second, {TimeStyle::Iso, 0});
}

std::string dateOf(std::uint64_t time) {
    return isoText(time).substr(0, std::string_view("2023-11-14").size());
}

std::string clockText(std::uint64_t time, std::uint64_t step) {
    if (time % day == 0) {
        return dateOf(time);
    }
    const std::string clock = isoText(time).substr(std::string_view("2023-11-14T").size(), 8);
    return step % minute == 0 ? clock.substr(0, 5) : clock + decimals(time, step);
}

std::string titleOf(const TimeAxis& axis, const TimeFormat& times, SpanForm form, std::uint64_t step) {
    switch (times.style) {
    case TimeStyle::Epoch:
        return "seconds since 1970-01-01 UTC";
    case TimeStyle::Iso:
        return dateOf(axis.from) + (dateOf(axis.from) == dateOf(axis.to) ? "" : " to " + dateOf(axis.to)) +
               ", UTC";
    case TimeStyle::Relative:
        break;
    }
    std::string start = timeText(times.start / 1'000'000 * 1'000'000, {TimeStyle::Iso, 0});
    start.replace(start.find('.') + 4, start.npos, " UTC");
    start[start.find('T')] = ' ';
    const char* const unit = form == SpanForm::Seconds   ? "s"
                             : form == SpanForm::Minutes ? "min:s"
                             : step % minute == 0        ? "h:min"
                                                         : "h:min:s";
    return std::string("time in ") + unit + " since " + start;
}

} // namespace

double TimeAxis::position(std::uint64_t time) const {
    const std::uint64_t within = std::clamp(time, from, to);
    return static_cast<double>(within - from) / static_cast<double>(to - from);
}

TimeAxis timeAxis(std::uint64_t from, std::uint64_t to, const TimeFormat& times, unsigned mostTicks) {
    constexpr std::uint64_t least = 1000;
    TimeAxis axis{std::min(from, ~std::uint64_t{0} - least), to, {}, {}};
    axis.to = std::max(to, axis.from + least);
    const std::uint64_t origin = times.style == TimeStyle::Relative ? times.start : 0;
    const bool isClock = times.style != TimeStyle::Epoch;
    const std::uint64_t step = stepOf(axis.from, axis.to, origin, mostTicks, isClock);
    const SpanForm form = times.style == TimeStyle::Epoch
                              ? SpanForm::Seconds
                              : spanForm(axis.to - std::min(axis.to, origin), step);
    const Raster raster{origin, step};
    const std::uint64_t count = raster.count(axis.from, axis.to);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t time = raster.first(axis.from) + i * step;
        const std::string text = times.style == TimeStyle::Iso ? clockText(time, step)
                                 : time >= origin              ? spanText(time - origin, step, form)
                                                               : "-" + spanText(origin - time, step, form);
        axis.ticks.push_back({time, text});
    }
    axis.title = titleOf(axis, times, form, step);
    return axis;
}

} // namespace rksignal

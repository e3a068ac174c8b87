#include "trace/log/BusmasterLine.h"

#include "trace/log/LineDate.h"

namespace rksignal {
namespace {

constexpr std::uint64_t dayLength = 86'400 * nanosecondsPerSecond;

/// The rest of a text that begins with `begin`; nothing if it does not.
std::optional<std::string_view> behind(std::string_view text, std::string_view begin) {
    return text.starts_with(begin) ? std::optional(text.substr(begin.size())) : std::nullopt;
}

} // namespace

LineLog::Line BusmasterLog::read(std::string_view line) {
    if (const auto text = behind(line, "***")) {
        return readHeader(text->substr(0, text->rfind("***")));
    }
    if (!isCan) {
        return malformed("BUSMASTER log of a protocol other than CAN");
    }
    LineWords words(line);
    const auto clock = parseClock(words.next());
    if (!clock) {
        return malformed("no time of the form hh:mm:ss:ffff at the start");
    }
    if (!setTime(*clock)) {
        return malformed("time is beyond 64 bits of nanoseconds");
    }
    words.next(); // direction
    const auto channel = parseNumber<std::uint8_t>(words.next());
    std::string_view identifier = words.next();
    if (identifier.starts_with("0x") || identifier.starts_with("0X")) {
        identifier.remove_prefix(2);
    }
    const auto id = parseNumber<std::uint32_t>(identifier, base);
    const std::string_view type = words.next();
    const bool isExtended = type.starts_with('x') || type.starts_with('X');
    const bool isStandard = type.starts_with('s') || type.starts_with('S');
    const auto length = parseNumber<std::uint8_t>(words.next());
    if (!channel || !id || !length || (!isExtended && !isStandard) ||
        !setCan(*channel, *id, isExtended, *length > 8, *length)) {
        return malformed("not a CAN frame with its channel, identifier, type and length");
    }
    if (sameWord(type.substr(1), "r")) {
        return Line::Remote;
    }
    return words.bytes(can.payload.data(), can.length, base) ? Line::Can
                                                             : malformed("fewer data bytes than announced");
}

/// A line without the asterisks around it.
LineLog::Line BusmasterLog::readHeader(std::string_view text) {
    if (const auto protocol = behind(text, "PROTOCOL ")) {
        isCan = *protocol == "CAN";
    } else if (const auto date = behind(text, "START DATE AND TIME ")) {
        return readStart(*date);
    } else if (text == "HEX" || text == "DEC") {
        base = text == "HEX" ? 16 : 10;
    } else if (text == "SYSTEM MODE") {
        mode = Mode::System;
    } else if (text == "ABSOLUTE MODE") {
        mode = Mode::Absolute;
    } else if (text == "RELATIVE MODE") {
        mode = Mode::Relative;
    }
    return Line::Nothing;
}

LineLog::Line BusmasterLog::readStart(std::string_view date) {
    std::uint64_t time = 0;
    if (parseDate(date, time) != DateFault::None) {
        return malformed("start is not of the form 'day:month:year hh:mm:ss:ms'");
    }
    start = timestamp = time;
    hasDate = true;
    return Line::Nothing;
}

/// \return whether the time can be told
bool BusmasterLog::setTime(std::uint64_t clock) {
    if (mode != Mode::System) {
        const auto moment = later(mode == Mode::Relative ? timestamp : start, clock);
        timestamp = moment.value_or(timestamp);
        return moment.has_value();
    }
    const std::uint64_t midnight = timestamp - timestamp % dayLength;
    const bool isNextDay = clock + dayLength / 2 < timestamp % dayLength; // past midnight
    const auto moment = later(midnight, clock + (isNextDay ? dayLength : 0));
    timestamp = moment.value_or(timestamp);
    return moment.has_value();
}

} // namespace rksignal

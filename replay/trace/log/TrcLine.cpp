#include "trace/log/TrcLine.h"

#include "trace/log/LineDate.h"

#include <cmath>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;

/// The columns of versions without $COLUMNS.
constexpr std::pair<std::string_view, std::string_view> versions[] = {
    {"1.0", "NOILD"},    {"1.1", "NOTILD"},  {"1.2", "NOBTILD"},
    {"1.3", "NOBTIRLD"}, {"2.0", "NOTIdlD"}, {"2.1", "NOTBIdRLD"},
};

struct Type {
    std::string_view name;
    LineLog::Line kind;
    bool isFd = false;
};

/// What is not listed is an event: ST, EC, EV, Warng.
constexpr Type types[] = {
    {"Rx", LineLog::Line::Can},       {"Tx", LineLog::Line::Can},       {"DT", LineLog::Line::Can},
    {"FD", LineLog::Line::Can, true}, {"FB", LineLog::Line::Can, true}, {"FE", LineLog::Line::Can, true},
    {"BI", LineLog::Line::Can, true}, {"RR", LineLog::Line::Remote},    {"ER", LineLog::Line::Error},
    {"Error", LineLog::Line::Error},  {"XL", LineLog::Line::Xl},        {"XB", LineLog::Line::Xl},
};

/// `44548.6028595139` days since 1899-12-30, to the microsecond. \return nothing if it is no date since 1970
std::optional<std::uint64_t> parseDays(std::string_view text) {
    constexpr double daysBefore1970 = 25569;
    constexpr double lastDay = daysBefore1970 + 213'503; // of 64 bits of nanoseconds
    constexpr double microsecondsPerDay = 86'400e6;
    const auto days = takeNumber<double>(text);
    if (!days || !(*days >= daysBefore1970 && *days < lastDay)) {
        return std::nullopt;
    }
    const double whole = std::floor(*days);
    const auto ofDay = static_cast<std::uint64_t>(std::llround((*days - whole) * microsecondsPerDay));
    const auto day = static_cast<std::uint64_t>(whole - daysBefore1970);
    return (day * static_cast<std::uint64_t>(microsecondsPerDay) + ofDay) * 1000;
}

} // namespace

LineLog::Line TrcLog::read(std::string_view line) {
    LineWords words(line);
    Frame frame;
    for (const char column : columns) {
        if (column == 'D' || column == 0) {
            break;
        }
        const std::string_view word = words.next();
        if (column == 'N') {
            if (word.empty() || word.starts_with(';')) {
                return readHeader(line);
            }
            continue;
        }
        if (!readColumn(column, word, frame)) {
            return Line::Malformed;
        }
        if (frame.kind != Line::Can && frame.kind != Line::Remote) {
            return frame.kind;
        }
    }
    return readFrame(frame, words);
}

/// \return whether the word is of its column; else `reason` is set
bool TrcLog::readColumn(char column, std::string_view word, Frame& frame) {
    switch (column) {
    case 'O':
        if (const auto offset = parseDuration(word, nanosecondsPerMillisecond)) {
            const auto moment = later(start, *offset);
            timestamp = moment.value_or(timestamp);
            reason = "time is beyond 64 bits of nanoseconds";
            return moment.has_value();
        }
        reason = "no message with its number and time in milliseconds";
        return false;
    case 'T': {
        const auto* const type = std::find_if(std::begin(types), std::end(types),
                                              [word](const Type& each) { return each.name == word; });
        frame.kind = type != std::end(types) ? type->kind : Line::Other;
        frame.isFd = type != std::end(types) && type->isFd;
        reason = "no type of message";
        return !word.empty();
    }
    case 'B': {
        const auto bus = parseNumber<std::uint8_t>(word);
        frame.channel = bus.value_or(0);
        reason = "bus is not a number up to 255";
        return bus || word == "-"; // an event of all buses
    }
    case 'I':
        frame.identifier = word;
        return true;
    case 'L':
    case 'l': {
        const auto length = parseNumber<std::uint8_t>(word);
        frame.length = length.value_or(0);
        frame.isLengthCode = column == 'L';
        reason = "no length of the data";
        return length.has_value();
    }
    default: // direction, reserved
        return true;
    }
}

LineLog::Line TrcLog::readFrame(const Frame& frame, LineWords data) {
    constexpr std::uint32_t status = 0xFFFFFFFF;
    const auto id = parseNumber<std::uint32_t>(frame.identifier, 16);
    const std::string_view first = LineWords(data).next();
    if (first == "ERROR") { // of version 1.0, as the status
        return Line::Error;
    }
    if (id == status) {
        return Line::Other;
    }
    constexpr std::size_t lastCode = 15; // above it stands a length all the same
    const std::size_t length = frame.isLengthCode && frame.length <= lastCode
                                   ? canLengthOfCode(frame.length, frame.isFd)
                                   : frame.length;
    if (!id || !setCan(frame.channel, *id, frame.identifier.size() > 4, frame.isFd, length)) {
        return malformed("not a CAN frame");
    }
    if (frame.kind == Line::Remote || first == "RTR") {
        return Line::Remote;
    }
    const std::size_t count = data.bytesUpTo(can.payload.data(), length, 16);
    if (count == 12 && frame.length == count) { // both a length and a code: the number of bytes tells which
        can.length = static_cast<std::uint8_t>(count);
    }
    return count == can.length ? Line::Can : malformed("fewer data bytes than announced");
}

LineLog::Line TrcLog::readHeader(std::string_view line) {
    constexpr std::pair<std::string_view, Line (TrcLog::*)(std::string_view)> keywords[] = {
        {";$FILEVERSION=", &TrcLog::readVersion},
        {";$STARTTIME=", &TrcLog::readStartTime},
        {";$COLUMNS=", &TrcLog::readColumns},
    };
    for (const auto& [keyword, function] : keywords) {
        if (line.starts_with(keyword)) {
            return (this->*function)(line.substr(keyword.size()));
        }
    }
    constexpr std::string_view startTime = "Start time: ";
    const std::size_t place = line.find(startTime);
    std::uint64_t date = 0;
    if (!hasDate && place != line.npos &&
        parseDate(line.substr(place + startTime.size()), date) == DateFault::None) {
        start = date;
        hasDate = true;
    }
    return Line::Nothing;
}

LineLog::Line TrcLog::readVersion(std::string_view version) {
    version = LineWords(version).next();
    const auto* const known = std::find_if(std::begin(versions), std::end(versions),
                                           [version](const auto& each) { return each.first == version; });
    if (known == std::end(versions)) {
        return version.starts_with("3.") ? Line::Nothing // it has $COLUMNS
                                         : malformed("TRC version is not 1.0 to 3.0");
    }
    columns = {};
    known->second.copy(columns.data(), columns.size());
    return Line::Nothing;
}

LineLog::Line TrcLog::readStartTime(std::string_view days) {
    const auto time = parseDays(days);
    start = time.value_or(0);
    hasDate = time.has_value();
    return hasDate ? Line::Nothing : malformed("$STARTTIME is not a number of days up to a date since 1970");
}

/// `N,O,T,B,I,d,R,L,D`
LineLog::Line TrcLog::readColumns(std::string_view names) {
    constexpr std::string_view needed = "NOTI";
    columns = {};
    std::size_t count = 0;
    for (const char letter : names) {
        if (letter != ',' && letter != ' ' && count + 1 < columns.size()) {
            columns[count++] = letter;
        }
    }
    const std::string_view all(columns.data(), count);
    const bool isComplete = all.starts_with('N') && all.ends_with('D') &&
                            std::all_of(needed.begin(), needed.end(),
                                        [all](char letter) { return all.find(letter) != all.npos; }) &&
                            all.find_first_of("lL") != all.npos;
    return isComplete ? Line::Nothing
                      : malformed("$COLUMNS do not start with N, end with D and hold O, T, I and L or l");
}

} // namespace rksignal

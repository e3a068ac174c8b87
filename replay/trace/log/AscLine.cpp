#include "trace/log/AscLine.h"

#include "trace/MessageSink.h"
#include "trace/log/LineDate.h"

#include <array>

namespace rksignal {
namespace {

constexpr const char* tooFewBytes = "fewer data bytes than announced";

bool isDirection(std::string_view word) {
    return sameWord(word, "Rx") || sameWord(word, "Tx");
}

/// The channel of `Li` or `L2`, or nothing.
std::optional<std::uint8_t> linChannel(std::string_view word) {
    if (word == "Li") {
        return std::uint8_t{1};
    }
    return word.starts_with('L') ? parseNumber<std::uint8_t>(word.substr(1)) : std::nullopt;
}

struct Identifier {
    std::uint32_t id = 0;
    bool isExtended = false;
};

/// `18FEF100x`
std::optional<Identifier> parseIdentifier(std::string_view word, int base) {
    const bool isExtended = word.ends_with('x') || word.ends_with('X');
    word.remove_suffix(isExtended ? 1 : 0);
    const auto id = parseNumber<std::uint32_t>(word, base);
    return id ? std::optional(Identifier{*id, isExtended}) : std::nullopt;
}

/// A length code is one hexadecimal digit; some recorders write it in decimal.
std::optional<std::uint8_t> parseLengthCode(std::string_view word) {
    const auto code = parseNumber<std::uint8_t>(word, word.size() == 1 ? 16 : 10);
    return code && *code <= 15 ? code : std::nullopt;
}

} // namespace

LineLog::Line AscLog::read(std::string_view line) {
    LineWords words(line);
    const std::string_view first = words.next();
    const auto time = parseDuration(first, nanosecondsPerSecond);
    return time ? readEvent(*time, words) : readHeader(first, words);
}

LineLog::Line AscLog::readHeader(std::string_view first, LineWords words) {
    if (sameWord(first, "date")) {
        return readDate(words.rest());
    }
    if (sameWord(first, "base")) {
        return readBase(words);
    }
    if (sameWord(first, "begin")) {
        return readBlock(words);
    }
    constexpr std::array<std::string_view, 3> remarks = {"no", "internal", "end"};
    const bool isRemark =
        first.empty() || first.starts_with("//") ||
        std::any_of(remarks.begin(), remarks.end(), [first](auto word) { return sameWord(first, word); });
    return isRemark ? Line::Nothing : malformed("neither an event with its time nor a line of the header");
}

LineLog::Line AscLog::readDate(std::string_view text) {
    std::uint64_t time = 0;
    switch (parseDate(text, time)) {
    case DateFault::Form:
        return malformed("date is not of the form 'Mon May 18 10:00:00.000 2026'");
    case DateFault::Beyond:
        return malformed("date is beyond 64 bits of nanoseconds");
    default:
        start = timestamp = time;
        hasDate = true;
        return Line::Nothing;
    }
}

/// `Begin Triggerblock Mon May 18 10:00:00.000 2026`: the times of the block count from here. Without a date
/// they go on as before.
LineLog::Line AscLog::readBlock(LineWords words) {
    const bool isTriggerBlock = sameWord(words.next(), "triggerblock");
    return isTriggerBlock && !LineWords(words).next().empty() ? readDate(words.rest()) : Line::Nothing;
}

/// `hex timestamps absolute`
LineLog::Line AscLog::readBase(LineWords words) {
    const std::string_view numbers = words.next();
    words.next();
    const std::string_view times = words.next();
    base = sameWord(numbers, "dec") ? 10 : 16;
    isRelative = sameWord(times, "relative");
    const bool isKnown = (base == 10 || sameWord(numbers, "hex")) &&
                         (isRelative || times.empty() || sameWord(times, "absolute"));
    return isKnown ? Line::Nothing : malformed("base is not hex or dec with absolute or relative times");
}

LineLog::Line AscLog::readEvent(std::uint64_t time, LineWords words) {
    const auto moment = later(isRelative ? timestamp : start, time);
    if (!moment) {
        return malformed("time is beyond 64 bits of nanoseconds");
    }
    timestamp = *moment;
    const std::string_view word = words.next();
    if (const auto channel = parseNumber<std::uint8_t>(word)) {
        return readCan(*channel, words);
    }
    if (word == "CANFD") {
        return readCanFd(words);
    }
    if (const auto channel = linChannel(word)) {
        return readLin(*channel, words);
    }
    if (word == "Fr") {
        return readFlexRay(words);
    }
    return word == "Start" ? Line::Nothing : Line::Other; // `Start of measurement`
}

/// `200x Rx d 8 02 10 ...`
LineLog::Line AscLog::readCan(std::uint8_t channel, LineWords words) {
    const std::string_view word = words.next();
    if (sameWord(word, "ErrorFrame")) {
        return Line::Error;
    }
    const auto identifier = parseIdentifier(word, base);
    if (!identifier || !isDirection(words.next())) {
        return Line::Other; // statistics and the like
    }
    const std::string_view kind = words.next();
    if (sameWord(kind, "r")) {
        return Line::Remote;
    }
    const auto code = parseLengthCode(words.next());
    if (!sameWord(kind, "d") || !code ||
        !setCan(channel, identifier->id, identifier->isExtended, false, canLengthOfCode(*code, false))) {
        return malformed("not a classic CAN frame");
    }
    return words.bytes(can.payload.data(), can.length, base) ? Line::Can : malformed(tooFewBytes);
}

/// `1 Rx 300x NAME 1 0 9 12 01 02 ... 102203 133 303000`. Such a line may also hold a classic frame: its
/// flags say so.
LineLog::Line AscLog::readCanFd(LineWords words) {
    constexpr std::uint32_t remoteFlag = 1U << 4;
    constexpr std::uint32_t fdFlag = 1U << 12;
    const auto channel = parseNumber<std::uint8_t>(words.next());
    const bool hasDirection = isDirection(words.next());
    const std::string_view word = words.next();
    if (sameWord(word, "ErrorFrame")) {
        return Line::Error;
    }
    const auto identifier = parseIdentifier(word, base);
    std::string_view brs = words.next();
    if (brs != "0" && brs != "1") { // the name
        brs = words.next();
    }
    const std::string_view esi = words.next();
    const auto code = parseLengthCode(words.next());
    const auto length = parseNumber<std::uint8_t>(words.next());
    if (!channel || !hasDirection || !identifier || !code || !length ||
        !setCan(*channel, identifier->id, identifier->isExtended, true, *length)) {
        return malformed("not a CAN FD frame");
    }
    if (!words.bytes(can.payload.data(), can.length, base)) {
        return malformed(tooFewBytes);
    }
    words.next(); // duration
    words.next(); // number of bits
    const std::uint32_t flags = parseNumber<std::uint32_t>(words.next(), 16).value_or(0);
    if ((flags & remoteFlag) != 0 || (*length == 0 && *code != 0)) {
        return Line::Remote;
    }
    if (flags != 0 && (flags & fdFlag) == 0 && brs == "0" && esi == "0" && *length <= 8) {
        can.frameFormat &= ~std::uint32_t{CANExtTraceMessage::FdStandard};
    }
    return Line::Can;
}

/// `3c Rx 8 01 02 ... checksum = ab`, `3c CSErr ...` or `WakeupFrame`
LineLog::Line AscLog::readLin(std::uint8_t channel, LineWords words) {
    const std::string_view word = words.next();
    const auto id = parseNumber<std::uint8_t>(word, base);
    const std::string_view event = id ? words.next() : word;
    if (!id || !isDirection(event)) { // CSErr, SyncErr, TransmErr, RcvError; WakeupFrame, SleepModeEvent ...
        return event.find("Err") != event.npos ? Line::Error : Line::Other;
    }
    const auto length = parseNumber<std::uint8_t>(words.next());
    if (!length || *length > 8) {
        return malformed("not a LIN frame");
    }
    lin.timestamp = timestamp;
    lin.channel = channel;
    lin.protectedId = *id;
    lin.data.resize(*length);
    return words.bytes(lin.data.data(), *length, base) ? Line::Lin : malformed(tooFewBytes);
}

/// `RMSG 0 12 1 1 d2 1d Tx 0 304802 5 20 440 NAME 8 8 02 df ...`: all numbers are hexadecimal.
LineLog::Line AscLog::readFlexRay(LineWords words) {
    constexpr std::uint32_t nullFrame = 1;
    constexpr std::uint8_t onlyB = 2;
    if (words.next() != "RMSG") {
        return Line::Other; // the start of a cycle, a status, an error of the controller
    }
    const auto skip = [&words](int count) {
        while (count-- > 0) {
            words.next();
        }
    };
    skip(2); // kind of controller, its number
    const auto cluster = parseNumber<std::uint8_t>(words.next(), 16);
    const auto channels = parseNumber<std::uint8_t>(words.next(), 16);
    const auto slot = parseNumber<std::uint16_t>(words.next(), 16);
    const auto cycle = parseNumber<std::uint8_t>(words.next(), 16);
    const bool hasDirection = isDirection(words.next());
    skip(1);
    const auto flags = parseNumber<std::uint32_t>(words.next(), 16);
    skip(4); // kind of controller, its data, checksum of the header, name
    skip(1); // length of the payload on the bus
    const auto length = parseNumber<std::uint8_t>(words.next(), 16);
    if (!cluster || !channels || !slot || *slot > 0x7FF || !cycle || *cycle > 63 || !hasDirection || !flags ||
        !length || *length > 254) {
        return malformed("not a FlexRay frame");
    }
    if ((*flags & nullFrame) != 0) {
        return Line::Other;
    }
    flexRay.timestamp = timestamp;
    flexRay.frameKind = unknownSegment;
    flexRay.channel = static_cast<std::uint8_t>(*cluster + (*channels == onlyB ? 1 : 0));
    flexRay.slot = *slot;
    flexRay.cycle = *cycle;
    flexRay.payload.resize(*length);
    if (!words.bytes(flexRay.payload.data(), *length, 16)) {
        return malformed(tooFewBytes);
    }
    flexRay.data = flexRay.payload;
    return Line::FlexRay;
}

} // namespace rksignal

#include "trace/log/CandumpScreen.h"

#include "trace/CanFrame.h"
#include "trace/log/LineDate.h"

namespace rksignal {
namespace {

constexpr std::size_t absoluteLength = 17; // of SSSSSSSSSS.ffffff

/// What stands in the parentheses at the start of the line, which is taken off it; empty if there are none.
std::string_view takeTime(std::string_view& line) {
    const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
    const std::size_t end = line.find(')', start);
    if (start == line.size() || line[start] != '(' || end == line.npos) {
        return {};
    }
    const std::string_view time = line.substr(start + 1, end - start - 1);
    line.remove_prefix(end + 1);
    return time;
}

bool isShort(std::string_view time) {
    return !time.empty() && time.size() < absoluteLength;
}

/// The text up to the last line end.
std::string_view wholeLines(std::string_view text) {
    return text.substr(0, text.rfind('\n') + 1); // npos + 1 is 0
}

/// Whether some time is smaller than the one before.
bool goesBack(std::string_view lines) {
    std::uint64_t last = 0;
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        std::string_view line = lines.substr(0, end);
        lines.remove_prefix(end + 1);
        const auto time = parseDuration(takeTime(line), nanosecondsPerSecond);
        if (time && *time < last) {
            return true;
        }
        last = time.value_or(last);
    }
    return false;
}

/// Reads bytes as pairs of hexadecimal digits or, of `-i`, as 8 binary ones; with `-S` the last one comes
/// first and they are parted by a grave accent. \return whether there are `count` of them
bool readBytes(LineWords words, std::uint8_t* to, std::size_t count) {
    std::string_view word = words.next();
    const bool isSwapped = word.find('`') != word.npos;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view digits = word.substr(0, word.find('`'));
        const auto byte = parseNumber<std::uint8_t>(digits, digits.size() == 8 ? 2 : 16);
        if (!byte || (digits.size() != 2 && digits.size() != 8)) {
            return false;
        }
        to[isSwapped ? count - 1 - i : i] = *byte;
        word.remove_prefix(std::min(digits.size() + 1, word.size()));
        if (!isSwapped) {
            word = words.next();
        }
    }
    return true;
}

/// What the brackets say: `[8]` of a classic frame, `[08]` of a CAN FD frame, `[0008]` of a CAN XL frame.
struct Length {
    std::size_t bytes = 0;
    std::size_t digits = 0;
};

/// `[8]`, or with its length code `{9}[8]`
std::optional<Length> parseLength(std::string_view word) {
    word.remove_prefix(std::min(word.find('['), word.size()));
    if (word.size() < 3 || !word.ends_with(']')) {
        return std::nullopt;
    }
    const std::string_view digits = word.substr(1, word.size() - 2);
    const auto bytes = parseNumber<std::uint16_t>(digits);
    return bytes ? std::optional(Length{*bytes, digits.size()}) : std::nullopt;
}

} // namespace

CandumpScreen::CandumpScreen(InputFile& file) {
    constexpr std::size_t enough = 4096;
    std::string_view first = file.peeked().substr(0, file.peeked().find('\n'));
    if (isLine(first) && isShort(takeTime(first))) {
        while (file.peeked().size() < enough && file.peekFurther()) {
        }
        isDelta = goesBack(wholeLines(file.peeked()));
    }
}

const char* CandumpScreen::note() const {
    if (wasShort) {
        return isDelta
                   ? "the times have no date: they count from the line before, and the first from 1970-01-01"
                   : "the times have no date: they count from 1970-01-01";
    }
    return wasAbsent ? "there are no times: all messages are of 1970-01-01 00:00:00" : nullptr;
}

/// Takes the time off the line and sets `time`. \return null, or what is wrong
const char* CandumpScreen::readTime(std::string_view& line) {
    const std::string_view text = takeTime(line);
    if (text.empty()) {
        wasAbsent = true;
        return nullptr;
    }
    if (text.find('-') != text.npos) {
        return parseDate(text, time) == DateFault::None
                   ? nullptr
                   : "time stamp is not a date of the form 2021-07-21 22:04:02.645596";
    }
    const auto number = parseDuration(text, nanosecondsPerSecond);
    const auto moment = number ? later(isShort(text) && isDelta ? time : 0, *number) : std::nullopt;
    wasShort = wasShort || isShort(text);
    time = moment.value_or(time);
    return moment ? nullptr : "time stamp is not SECONDS.FRACTION";
}

const char* CandumpScreen::read(std::string_view line, CandumpLine& result) {
    if (const char* const error = readTime(line)) {
        return error;
    }
    result.frame.timestamp = time;
    result.direction = CandumpLine::Direction::Unknown;
    result.fdFlags = result.lengthCode = 0;
    LineWords words(line);
    result.interfaceName = words.next();
    std::string_view identifier = words.next();
    if (identifier == "RX" || identifier == "TX") {
        result.direction =
            identifier == "RX" ? CandumpLine::Direction::Received : CandumpLine::Direction::Sent;
        words.next(); // bit rate switch
        words.next(); // error state
        identifier = words.next();
    }
    return readFrame(identifier, words, result);
}

const char* CandumpScreen::readFrame(std::string_view identifier, LineWords words, CandumpLine& result) {
    constexpr std::uint32_t errorFlag = 0x20000000;
    constexpr std::size_t extendedDigits = 8;
    CANExtTraceMessage& frame = result.frame;
    const auto id = parseNumber<std::uint32_t>(identifier, 16);
    const bool isExtended = identifier.size() == extendedDigits;
    const auto length = parseLength(words.next());
    if (!id || !length || length->digits > 4) {
        return "not a frame with its identifier and length in brackets";
    }
    if (length->digits > 2) {
        result.kind = CandumpLine::Kind::Xl;
        return nullptr;
    }
    const bool isError = isExtended && (*id & errorFlag) != 0;
    const bool isFd = length->digits == 2;
    frame.canId = *id;
    frame.frameFormat = (isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                        (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
    if ((isExtended ? *id & ~errorFlag : *id) > greatestCanId(isExtended) ||
        length->bytes > mostCanBytes(isFd)) {
        return "identifier or length is too large";
    }
    frame.length = static_cast<std::uint8_t>(length->bytes);
    if (isError || LineWords(words).next() == "remote") {
        result.kind = isError ? CandumpLine::Kind::Error : CandumpLine::Kind::Remote;
        return nullptr;
    }
    result.kind = CandumpLine::Kind::Data;
    return readBytes(words, frame.payload.data(), frame.length) ? nullptr : "fewer data bytes than announced";
}

} // namespace rksignal

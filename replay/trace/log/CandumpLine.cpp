#include "trace/log/CandumpLine.h"

#include "trace/CanFrame.h"
#include "trace/log/HexDigits.h"
#include "trace/log/Seconds.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace rksignal {
namespace {

constexpr std::uint32_t errorFlag = 0x20000000; // of an 8-digit identifier

/// At most 15 bytes, none of them a control character, a blank, `/` or `:`.
bool isInterfaceName(std::string_view name) {
    return name.size() <= 15 && std::all_of(name.begin(), name.end(), [](unsigned char byte) {
               return byte > ' ' && byte != 0x7F && byte != '/' && byte != ':';
           });
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Reads a line from left to right. Each step returns null or the reason why it cannot go on.
class LineParser {
  public:
    LineParser(std::string_view line, CandumpLine& result)
        : at(line.data()), end(line.data() + line.size()), result(result) {}

    const char* parse() {
        if (at != end && *at == 'D') {
            return dropCount();
        }
        if (const char* error = timestamp()) {
            return error;
        }
        if (const char* error = interfaceName()) {
            return error;
        }
        return frame();
    }

  private:
    std::size_t left() const { return static_cast<std::size_t>(end - at); }
    bool take(char character) {
        if (at == end || *at != character) {
            return false;
        }
        ++at;
        return true;
    }

    const char* dropCount() {
        constexpr std::string_view head = "DROPCOUNT: dropped ";
        constexpr const char* notUnderstood = "DROPCOUNT line without a number";
        if (!std::string_view(at, left()).starts_with(head)) {
            return "no time stamp in parentheses";
        }
        result.kind = CandumpLine::Kind::DropCount;
        result.interfaceName = {};
        return std::from_chars(at + head.size(), end, result.dropped).ec == std::errc() ? nullptr
                                                                                        : notUnderstood;
    }

    const char* timestamp() {
        constexpr const char* malformed = "time stamp is not SECONDS.FRACTION with 1 to 9 decimals";
        if (!take('(')) {
            return "no time stamp in parentheses";
        }
        std::uint64_t seconds = 0;
        const auto [secondsEnd, status] = std::from_chars(at, end, seconds);
        if (status == std::errc::invalid_argument) {
            return malformed;
        }
        if (status != std::errc() || seconds >= ~std::uint64_t{0} / nanosecondsPerSecond) {
            return "time stamp is beyond 64 bits of nanoseconds";
        }
        at = secondsEnd;
        if (!take('.')) {
            return malformed;
        }
        std::uint64_t fraction = 0;
        std::uint64_t unit = nanosecondsPerSecond;
        for (; at != end && isDigit(*at) && unit > 1; ++at) {
            fraction = 10 * fraction + static_cast<unsigned>(*at - '0');
            unit /= 10;
        }
        if (unit == nanosecondsPerSecond || !take(')')) {
            return malformed;
        }
        result.frame.timestamp = seconds * nanosecondsPerSecond + fraction * unit;
        return nullptr;
    }

    const char* interfaceName() {
        const char* const blanks = at;
        while (take(' ')) {
        }
        const char* const name = at;
        while (at != end && *at != ' ') {
            ++at;
        }
        if (name == blanks || name == at) {
            return "no interface name behind the time stamp";
        }
        result.interfaceName = {name, static_cast<std::size_t>(at - name)};
        if (!isInterfaceName(result.interfaceName)) {
            return "interface name is not one that Linux allows";
        }
        return take(' ') ? nullptr : "no frame behind the interface name";
    }

    const char* frame() {
        result.direction = CandumpLine::Direction::Unknown;
        result.fdFlags = 0;
        result.lengthCode = 0;
        if (const char* error = identifier()) {
            return error;
        }
        if (result.kind == CandumpLine::Kind::Xl) {
            return nullptr;
        }
        if (const char* error = content()) {
            return error;
        }
        return at == end ? nullptr : direction();
    }

    /// Reads the digits of the identifier and the `#` behind them. Their number tells the kind of frame.
    const char* identifier() {
        const char* const first = at;
        std::uint32_t value = 0;
        for (; at != end && hexValue(*at) >= 0 && at - first <= 8; ++at) {
            value = value << 4 | static_cast<std::uint32_t>(hexValue(*at));
        }
        const auto digits = at - first;
        if (digits != 3 && digits != 5 && digits != 8) {
            return "identifier is not 3 or 8 hexadecimal digits";
        }
        if (!take('#')) {
            return "no '#' behind the identifier";
        }
        result.frame.canId = value;
        switch (digits) {
        case 3:
            return standardIdentifier(value);
        case 5:
            return xlFrame();
        default:
            return extendedIdentifier(value);
        }
    }

    const char* standardIdentifier(std::uint32_t value) {
        result.kind = CandumpLine::Kind::Data;
        result.frame.frameFormat = CANExtTraceMessage::Standard;
        return value <= greatestStandardId ? nullptr : "standard identifier is above 7FF";
    }

    const char* extendedIdentifier(std::uint32_t value) {
        const bool isError = (value & errorFlag) != 0;
        result.kind = isError ? CandumpLine::Kind::Error : CandumpLine::Kind::Data;
        result.frame.frameFormat = CANExtTraceMessage::Extended;
        return (value & ~errorFlag) <= greatestExtendedId ? nullptr : "extended identifier is above 1FFFFFFF";
    }

    /// 5 digits (virtual network and priority), then `FLAGS:TYPE:ACCEPTANCE#DATA`, which is not read.
    const char* xlFrame() {
        result.kind = CandumpLine::Kind::Xl;
        return left() >= 3 && at[2] == ':' ? nullptr : "identifier is not 3 or 8 hexadecimal digits";
    }

    const char* content() {
        const bool isData = result.kind == CandumpLine::Kind::Data;
        if (isData && take('R')) {
            return remote();
        }
        if (isData && take('#')) {
            return fdContent();
        }
        if (const char* error = bytes(8, "more than 8 data bytes in a classic frame")) {
            return error;
        }
        return at != end && *at == '_' ? rawLengthCode() : nullptr;
    }

    const char* remote() {
        result.kind = CandumpLine::Kind::Remote;
        result.frame.length = 0;
        if (at == end || *at == ' ') {
            return nullptr;
        }
        if (*at < '0' || *at > '8') {
            return "length of a remote frame is not 0 to 8";
        }
        result.frame.length = static_cast<std::uint8_t>(*at++ - '0');
        return at != end && *at == '_' ? rawLengthCode() : nullptr;
    }

    const char* fdContent() {
        if (at == end || hexValue(*at) < 0) {
            return "flags of a CAN FD frame are not a hexadecimal digit";
        }
        result.fdFlags = static_cast<std::uint8_t>(hexValue(*at++));
        result.frame.frameFormat |= CANExtTraceMessage::FdStandard;
        return bytes(result.frame.payload.size(), "more than 64 data bytes in a CAN FD frame");
    }

    const char* bytes(std::size_t limit, const char* tooMany) {
        std::size_t count = 0;
        for (; left() >= 2; at += 2) {
            const int byte = hexValue(at[0]) << 4 | hexValue(at[1]);
            if (byte < 0) {
                break;
            }
            if (count == limit) {
                return tooMany;
            }
            result.frame.payload[count++] = static_cast<std::uint8_t>(byte);
        }
        result.frame.length = static_cast<std::uint8_t>(count);
        if (at == end || *at == ' ' || *at == '_') {
            return nullptr;
        }
        const bool loneDigit = hexValue(*at) >= 0 && (left() == 1 || at[1] == ' ' || at[1] == '_');
        return loneDigit ? "odd number of data digits" : "data is not hexadecimal";
    }

    /// `_9` to `_F`: the length code of a frame that has 8 bytes all the same.
    const char* rawLengthCode() {
        ++at;
        const int code = at != end ? hexValue(*at) : -1;
        if (code < 9) {
            return "length code behind '_' is not 9 to F";
        }
        if (result.frame.length != 8) {
            return "length code behind '_' in a frame that has not 8 bytes";
        }
        ++at;
        result.lengthCode = static_cast<std::uint8_t>(code);
        return nullptr;
    }

    const char* direction() {
        const std::string_view rest(at, left());
        if (rest == " T") {
            result.direction = CandumpLine::Direction::Sent;
        } else if (rest == " R") {
            result.direction = CandumpLine::Direction::Received;
        } else if (rest.find_first_not_of(' ') != rest.npos) {
            return "unexpected text behind the frame";
        }
        return nullptr;
    }

    const char* at;
    const char* const end;
    CandumpLine& result;
};

} // namespace

const char* parseCandumpLine(std::string_view line, CandumpLine& result) {
    return LineParser(line, result).parse();
}

void deliverLine(CandumpLine& line, MessageSink& sink, std::uint64_t time) {
    switch (line.kind) {
    case CandumpLine::Kind::Data:
        line.frame.timestamp = time;
        sink.receive(line.frame);
        break;
    case CandumpLine::Kind::Remote:
        sink.pass(PassedMessage::Remote, time);
        break;
    case CandumpLine::Kind::Error:
        sink.pass(PassedMessage::Error, time);
        break;
    default:
        sink.pass(PassedMessage::Xl, time);
    }
}

} // namespace rksignal

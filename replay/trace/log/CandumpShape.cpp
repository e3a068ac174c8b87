#include "trace/log/CandumpShape.h"

#include "trace/CanFrame.h"
#include "trace/log/HexDigits.h"
#include "trace/log/Seconds.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace rksignal {
namespace {

constexpr std::size_t decimalPlaces = 6; // of a second, as candump writes them

std::uint64_t loadWord(const char* text) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    return word;
}

/// The number that 6 decimal digits are, or -1 if `) ` does not stand behind them. Each step adds neighbours:
/// digits to pairs, these to fours, and these to one number.
std::int64_t microseconds(const char* text) {
    constexpr std::uint64_t zeros = 0x3030303030303030;
    const std::uint64_t word = loadWord(text);
    const std::uint64_t digits = (word << 16 | 0x3030) ^ zeros; // two zeros, then the six
    const std::uint64_t carries = digits + 0x7676767676767676;  // sets bit 7 of what is above 9
    if (word >> 48 != 0x2029 || ((digits | carries) & 0x8080808080808080) != 0) {
        return -1;
    }
    const std::uint64_t pairs = (digits * 10 + (digits >> 8)) & 0x00FF00FF00FF00FF;
    const std::uint64_t fours = (pairs * 100 + (pairs >> 16)) & 0x0000FFFF0000FFFF;
    return static_cast<std::int64_t>((fours * 10000 + (fours >> 32)) & 0xFFFFFFFF);
}

/// Whether two words have the same first bytes. REQUIRES: 0 < length
bool sameStart(std::uint64_t left, std::uint64_t right, std::size_t length) {
    return (left ^ right) << (64 - 8 * std::min(length, sizeof left)) == 0;
}

} // namespace

/// REQUIRES: 16 characters can be read.
bool CandumpShape::isInSecond(const char* line) const {
    constexpr std::size_t half = sizeof(std::uint64_t);
    const char* const known = second.data();
    return sameStart(loadWord(line), loadWord(known), secondLength) &&
           (secondLength <= half ||
            sameStart(loadWord(line + half), loadWord(known + half), secondLength - half));
}

/// Interfaces of one recording differ in their last digit.
std::size_t CandumpShape::placeOf(const char* name, std::size_t length) {
    return static_cast<unsigned char>(name[length - 1]) % 16;
}

/// What is known of the name that ends with the first blank. REQUIRES: 8 characters can be read.
const CandumpShape::Interface* CandumpShape::interfaceAt(const char* name) const {
    constexpr std::uint64_t ones = 0x0101010101010101;
    const std::uint64_t word = loadWord(name);
    const std::uint64_t rest = word ^ (ones * ' ');
    const std::uint64_t blanks = (rest - ones) & ~rest & (ones << 7); // its lowest bit is that of the first
    const auto length = static_cast<std::size_t>(std::countr_zero(blanks)) / 8;
    if (blanks == 0 || length == 0) {
        return nullptr;
    }
    const Interface& known = interfaces[placeOf(name, length)];
    return known.length == length && sameStart(word, known.name, length) ? &known : nullptr;
}

bool CandumpShape::read(std::string_view line, CandumpLine& result) const {
    // Behind the second: 6 decimals, `) `, and 8 characters that begin with the name. The digits of
    // identifier and data are the last ones of 16 characters, as many as stand before them anyway.
    const std::size_t least = secondLength + decimalPlaces + 2 + sizeof(std::uint64_t);
    if (secondLength == 0 || line.size() < least || !isInSecond(line.data())) {
        return false;
    }
    const char* at = line.data() + secondLength;
    const char* const end = line.data() + line.size();
    const std::int64_t decimals = microseconds(at);
    at += decimalPlaces + 2;
    const Interface* const interface = interfaceAt(at);
    if (decimals < 0 || interface == nullptr) {
        return false;
    }
    result.interfaceName = {at, interface->length};
    at += interface->length + 1;

    constexpr std::ptrdiff_t standardDigits = 3;
    constexpr std::ptrdiff_t extendedDigits = 8;
    const std::ptrdiff_t left = end - at;
    const bool isStandard = left > standardDigits && at[standardDigits] == '#';
    const std::ptrdiff_t idDigits = isStandard ? standardDigits : extendedDigits;
    if (!isStandard && (left <= extendedDigits || at[extendedDigits] != '#')) {
        return false;
    }
    const HexDigits id = hexDigits(at + idDigits - HexDigits::count);
    const std::uint64_t identifier = id.value & ((std::uint64_t{1} << 4 * idDigits) - 1);
    const auto dataDigits = static_cast<std::uint64_t>(left - idDigits - 1);
    const HexDigits data = hexDigits(end - HexDigits::count);
    if (id.after < static_cast<std::uint64_t>(idDigits) || identifier > greatestCanId(!isStandard) ||
        dataDigits > HexDigits::count || dataDigits % 2 != 0 || data.after < dataDigits) {
        return false;
    }
    result.kind = CandumpLine::Kind::Data;
    result.direction = CandumpLine::Direction::Unknown;
    result.fdFlags = 0;
    result.lengthCode = 0;
    CANExtTraceMessage& frame = result.frame;
    frame.timestamp = secondStart + static_cast<std::uint64_t>(decimals) * 1000;
    frame.channel = interface->channel;
    frame.canId = static_cast<std::uint32_t>(identifier);
    frame.frameFormat = isStandard ? CANExtTraceMessage::Standard : CANExtTraceMessage::Extended;
    frame.length = static_cast<std::uint8_t>(dataDigits / 2);
    // The digits are the last ones of the value: its top byte is the first of 8.
    const std::uint64_t bytes = dataDigits == 0 ? 0 : data.value << (64 - 4 * dataDigits);
    const std::uint64_t inOrder = __builtin_bswap64(bytes);
    std::memcpy(frame.payload.data(), &inOrder, sizeof inOrder);
    return true;
}

void CandumpShape::learn(std::string_view line, const CandumpLine& read, std::uint8_t channel) {
    const std::size_t point = line.find('.');
    const std::string_view name = read.interfaceName;
    if (line[0] != '(' || point >= second.size() || name.empty() || name.size() >= sizeof(std::uint64_t)) {
        return;
    }
    secondLength = point + 1;
    second = {};
    line.copy(second.data(), secondLength);
    secondStart = read.frame.timestamp / nanosecondsPerSecond * nanosecondsPerSecond;
    Interface& interface = interfaces[placeOf(name.data(), name.size())];
    interface = {0, name.size(), channel};
    std::memcpy(&interface.name, name.data(), name.size());
}

} // namespace rksignal

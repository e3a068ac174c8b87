#include "trace/log/CandumpShape.h"

#include "trace/CanFrame.h"
#include "trace/log/HexDigits.h"
#include "trace/log/Seconds.h"

#include <algorithm>
#include <cstring>

namespace rksignal {
namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);
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

/// The identifier in front of the `#`. \return behind it, null if there is none of 3 or 8 digits
const char* readIdentifier(const char* at, CANExtTraceMessage& frame) {
    constexpr std::size_t standardDigits = 3;
    constexpr std::size_t extendedDigits = 8;
    if (at[standardDigits] == '#') {
        const int id = hexValue(at[0]) << 8 | hexValue(at[1]) << 4 | hexValue(at[2]); // -1 stays below 0
        frame.canId = static_cast<std::uint32_t>(id);
        frame.frameFormat = CANExtTraceMessage::Standard;
        return frame.canId <= greatestStandardId ? at + standardDigits + 1 : nullptr;
    }
    const HexDigits id = hexDigits(at);
    frame.canId = __builtin_bswap32(static_cast<std::uint32_t>(id.bytes));
    frame.frameFormat = CANExtTraceMessage::Extended;
    return at[extendedDigits] == '#' && id.count == extendedDigits && frame.canId <= greatestExtendedId
               ? at + extendedDigits + 1
               : nullptr;
}

/// At most 8 bytes. \return behind their digits, null if their number is odd
const char* readEightBytes(const char* at, std::uint8_t* bytes) {
    const HexDigits digits = hexDigits(at);
    std::memcpy(bytes, &digits.bytes, sizeof digits.bytes);
    return digits.count % 2 == 0 ? at + digits.count : nullptr;
}

const char* readClassicData(const char* at, CANExtTraceMessage& frame) {
    const char* const end = readEightBytes(at, frame.payload.data());
    frame.length = static_cast<std::uint8_t>((end - at) / 2);
    return end;
}

/// The flags and the data of a CAN FD frame.
const char* readFdData(const char* at, CANExtTraceMessage& frame) {
    if (hexValue(*at++) < 0) {
        return nullptr;
    }
    frame.frameFormat |= CANExtTraceMessage::FdStandard;
    const char* const first = at;
    const char* end = at;
    for (std::size_t count = 0; count < frame.payload.size() && end == at; count += wordSize) {
        end = readEightBytes(at, frame.payload.data() + count);
        at += 2 * wordSize;
    }
    frame.length = static_cast<std::uint8_t>((end - first) / 2);
    return end;
}

} // namespace

CandumpShape::Prefix CandumpShape::Prefix::of(std::string_view text) {
    std::array<char, wordSize> characters{};
    std::array<char, wordSize> mask{};
    text.copy(characters.data(), wordSize);
    std::fill_n(mask.data(), text.size(), '\xFF');
    return {loadWord(characters.data()), loadWord(mask.data())};
}

inline bool CandumpShape::Prefix::isAt(const char* text) const {
    return ((loadWord(text) ^ characters) & mask) == 0;
}

inline const CandumpShape::Interface* CandumpShape::interfaceAt(const char* name) const {
    const auto known = std::find_if(interfaces.begin(), interfaces.end(),
                                    [name](const Interface& each) { return each.name.isAt(name); });
    return known != interfaces.end() ? known : nullptr;
}

std::size_t CandumpShape::read(const char* text, CANExtTraceMessage& frame) const {
    if (!second[0].isAt(text) || !second[1].isAt(text + wordSize)) {
        return 0;
    }
    const std::int64_t decimals = microseconds(text + secondLength);
    const char* const name = text + secondLength + decimalPlaces + 2;
    const Interface* const interface = interfaceAt(name);
    if (decimals < 0 || interface == nullptr) {
        return 0;
    }
    frame.timestamp = secondStart + static_cast<std::uint64_t>(decimals) * 1000;
    frame.channel = interface->channel;
    const char* const content = readIdentifier(name + interface->length, frame);
    if (content == nullptr) {
        return 0;
    }
    const char* end = *content == '#' ? readFdData(content + 1, frame) : readClassicData(content, frame);
    if (end == nullptr) {
        return 0;
    }
    end += *end == '\r' ? 1 : 0;
    return *end == '\n' ? static_cast<std::size_t>(end + 1 - text) : 0;
}

void CandumpShape::learn(std::string_view line, const CandumpLine& read, std::uint8_t channel) {
    const std::size_t point = line.find('.');
    const std::string_view name = read.interfaceName;
    if (line[0] != '(' || point >= 2 * wordSize || name.empty() || name.size() >= wordSize) {
        return;
    }
    secondLength = point + 1;
    const std::size_t half = std::min(secondLength, wordSize);
    second = {Prefix::of(line.substr(0, half)), Prefix::of(line.substr(half, secondLength - half))};
    secondStart = read.frame.timestamp / nanosecondsPerSecond * nanosecondsPerSecond;
    const std::string_view named(name.data(), name.size() + 1); // with the blank behind it
    const Prefix prefix = Prefix::of(named);
    const auto known = std::find_if(interfaces.begin(), interfaces.end(), [&](const Interface& each) {
        return each.name.characters == prefix.characters;
    });
    if (known == interfaces.end()) {
        interfaces[nextInterface] = {prefix, named.size(), channel};
        nextInterface = (nextInterface + 1) % interfaces.size();
    }
}

} // namespace rksignal

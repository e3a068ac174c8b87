#include "definition/dbc/DbcLines.h"

#include "definition/RawNumber.h"
#include "text/NumberText.h"

#include <algorithm>
#include <cmath>

namespace rksignal::dbc {

const char* head() {
    return R"(VERSION ""

NS_ :
	NS_DESC_
	CM_
	BA_DEF_
	BA_
	VAL_
	BA_DEF_DEF_
	SIG_VALTYPE_
	SG_MUL_VAL_

BS_:

)";
}

const char* attributeDefinitions() {
    return R"(BA_DEF_ BU_ "SystemNodeLongSymbol" STRING ;
BA_DEF_ BO_ "GenMsgCycleTime" FLOAT 0 3600000;
BA_DEF_ BO_ "SystemMessageLongSymbol" STRING ;
BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","J1939PG","reserved","reserved","reserved","reserved","reserved","reserved","reserved","reserved","reserved","reserved","StandardCAN_FD","ExtendedCAN_FD";
BA_DEF_ SG_ "SystemSignalLongSymbol" STRING ;
BA_DEF_DEF_ "SystemNodeLongSymbol" "";
BA_DEF_DEF_ "GenMsgCycleTime" 0;
BA_DEF_DEF_ "SystemMessageLongSymbol" "";
BA_DEF_DEF_ "VFrameFormat" "StandardCAN";
BA_DEF_DEF_ "SystemSignalLongSymbol" "";
)";
}

std::uint32_t rawIdOf(const MessageDefinition& message) {
    constexpr std::uint32_t extendedFlag = 0x80000000;
    return message.id | (message.extended ? extendedFlag : 0);
}

int frameFormatOf(const MessageDefinition& message) {
    constexpr int parameterGroup = 3;
    constexpr int firstFd = 14;
    return message.isParameterGroup ? parameterGroup
                                    : (message.canFd ? firstFd : 0) + (message.extended ? 1 : 0);
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"') {
            result += '\\';
        } else if (character == '\n' && result.back() == '\r') {
            result += '\r'; // readers take the one before it for a part of the line end
        }
        result += character;
    }
    return result + (canBeQuoted(text) ? "\"" : " \"");
}

std::optional<std::int64_t> wholeValue(signalValue_t type, std::uint64_t raw) {
    if (type != signalValue_t::Float && type != signalValue_t::Double) {
        return static_cast<std::int64_t>(raw);
    }
    const double value = numberOfRaw(type, raw);
    const bool isWhole = value >= -0x1p63 && value < 0x1p63 && std::trunc(value) == value;
    return isWhole ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

std::string nameIn(const MessageDefinition& message, const SignalDefinition& signal) {
    const std::string& instance = signal.common().instance;
    const std::string prefix = message.name + ".";
    return instance.starts_with(prefix) && instance.size() > prefix.size() ? instance.substr(prefix.size())
                                                                           : signal.common().signal;
}

std::string layoutText(const SignalDefinition& signal) {
    const canSignalDef_t& record = signal.can();
    return ": " + std::to_string(record.startbit) + "|" + std::to_string(record.bits) + "@" +
           (record.endian ? "0" : "1") + (record.type == signalValue_t::Unsigned ? "+" : "-") + " (" +
           doubleText(record.scale) + "," + doubleText(record.offset) + ") [" + doubleText(signal.minimum) +
           "|" + doubleText(signal.maximum) + "] " + quoted(record.unit) + " ";
}

std::string rangesText(const Multiplexing& multiplexing) {
    std::string text;
    for (const auto& [first, last] : multiplexing.ranges) {
        text += (text.empty() ? "" : ", ") + std::to_string(first) + "-" + std::to_string(last);
    }
    return text;
}

std::vector<bool> multiplexersOf(const MessageDefinition& message) {
    std::vector<bool> is;
    for (const SignalDefinition& signal : message.signals) {
        is.push_back(signal.can().multiplexer != 0);
    }
    for (const SignalDefinition& signal : message.signals) {
        if (signal.multiplexing && signal.multiplexing->multiplexer) {
            is[*signal.multiplexing->multiplexer] = true;
        }
    }
    return is;
}

bool hasExtendedMultiplexing(const MessageDefinition& message, const std::vector<bool>& multiplexers) {
    const auto isPlain = [](const SignalDefinition& signal) {
        return !signal.multiplexing ||
               (signal.multiplexing->ranges.size() == 1 &&
                signal.multiplexing->ranges[0].first == signal.multiplexing->ranges[0].second);
    };
    return std::count(multiplexers.begin(), multiplexers.end(), true) > 1 ||
           !std::all_of(message.signals.begin(), message.signals.end(), isPlain);
}

} // namespace rksignal::dbc

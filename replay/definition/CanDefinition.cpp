#include "definition/CanDefinition.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <tuple>

namespace rksignal {
namespace {

signalValue_t valueType(DbcValueType type) {
    switch (type) {
    case DbcValueType::Signed:
        return signalValue_t::Signed;
    case DbcValueType::Float:
        return signalValue_t::Float;
    case DbcValueType::Double:
        return signalValue_t::Double;
    case DbcValueType::Unsigned:
        break;
    }
    return signalValue_t::Unsigned;
}

/// The first value that selects the signal; the record has 16 bits for it.
std::uint16_t firstSelector(const DbcMultiplexing& multiplexing) {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint16_t>::max();
    return static_cast<std::uint16_t>(std::min(multiplexing.ranges.front().first, limit));
}

/// A value of a table as the raw word that the signal has then.
std::uint64_t rawWord(DbcValueType type, std::uint64_t value) {
    const auto number = static_cast<std::int64_t>(value);
    switch (type) {
    case DbcValueType::Float:
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    case DbcValueType::Double:
        return std::bit_cast<std::uint64_t>(static_cast<double>(number));
    default:
        return value;
    }
}

bool sameMeaning(const DbcSignal& left, const DbcSignal& right) {
    const auto layout = [](const DbcSignal& signal) {
        return std::tie(signal.name, signal.startbit, signal.bits, signal.bigEndian, signal.type);
    };
    const auto meaning = [](const DbcSignal& signal) {
        return std::tie(signal.scale, signal.offset, signal.unit, signal.valueDescriptions,
                        signal.multiplexer);
    };
    const auto presence = [](const DbcSignal& signal) {
        return signal.multiplexing.value_or(DbcMultiplexing());
    };
    const DbcMultiplexing leftPresence = presence(left);
    const DbcMultiplexing rightPresence = presence(right);
    return layout(left) == layout(right) && meaning(left) == meaning(right) &&
           leftPresence.multiplexer == rightPresence.multiplexer &&
           leftPresence.ranges == rightPresence.ranges;
}

} // namespace

canSignalDef_t canDefinition(const DbcMessage& message, const DbcSignal& signal) {
    canSignalDef_t definition;
    definition.signal = signal.name;
    definition.unit = signal.unit;
    definition.type = valueType(signal.type);
    definition.startbit = signal.startbit;
    definition.bits = signal.bits;
    definition.scale = signal.scale;
    definition.offset = signal.offset;
    definition.endian = signal.bigEndian;
    definition.multiplexed = signal.multiplexing.has_value();
    definition.multiplexer = signal.multiplexer ? 1 : 0;
    definition.mux = signal.multiplexing ? firstSelector(*signal.multiplexing) : std::uint16_t{0};
    for (const auto& [value, text] : signal.valueDescriptions) {
        definition.valueDescriptions.emplace(rawWord(signal.type, value), text);
    }
    definition.comment = signal.comment;
    definition.msgId = message.id;
    definition.extended = message.extended;
    definition.canFD = message.canFd;
    definition.message = message.name;
    definition.sender = message.sender;
    return definition;
}

const char* whyNotDecodable(canSignalDef_t definition) {
    constexpr unsigned classicBytes = 8;
    if (!CANSignal::checkSignalDefinition(definition)) {
        return "touches more than 8 bytes";
    }
    if (!definition.canFD && unsigned{definition.startByte} + definition.numBytes > classicBytes) {
        return "reaches beyond the 8 bytes of a classic frame";
    }
    return nullptr;
}

bool sameMeaning(const DbcMessage& left, const DbcMessage& right) {
    return left.id == right.id && left.extended == right.extended && left.canFd == right.canFd &&
           left.length == right.length && left.name == right.name &&
           std::equal(left.signals.begin(), left.signals.end(), right.signals.begin(), right.signals.end(),
                      [](const DbcSignal& a, const DbcSignal& b) { return sameMeaning(a, b); });
}

} // namespace rksignal

#include "definition/Definition.h"

#include "signal/BitField.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <limits>
#include <sstream>
#include <tuple>

namespace rksignal {
namespace {

/// What decides about the names and values of a message, but for its signals.
auto identityOf(const MessageDefinition& message) {
    return std::tie(message.id, message.extended, message.canFd, message.isParameterGroup, message.pduId,
                    message.length, message.name);
}

bool sameMeaning(const SignalDefinition& left, const SignalDefinition& right) {
    const auto meaning = [](const canSignalDef_t& record) {
        return std::tie(record.instance, record.startbit, record.bits, record.endian, record.type,
                        record.scale, record.offset, record.unit, record.valueDescriptions);
    };
    return meaning(left.can()) == meaning(right.can()) && left.multiplexing == right.multiplexing;
}

} // namespace

const baseSignalDef_t& SignalDefinition::common() const {
    return std::visit([](const baseSignalDef_t& each) -> const baseSignalDef_t& { return each; }, record);
}

std::uint16_t firstSelector(const std::vector<ValueRange>& ranges) {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint16_t>::max();
    return static_cast<std::uint16_t>(std::min(ranges.front().first, limit));
}

std::optional<std::size_t> firstMultiplexer(const MessageDefinition& message) {
    const auto first =
        std::find_if(message.signals.begin(), message.signals.end(), [](const SignalDefinition& signal) {
            return signal.common().multiplexer != 0 && !signal.common().multiplexed;
        });
    return first != message.signals.end()
               ? std::optional(static_cast<std::size_t>(first - message.signals.begin()))
               : std::nullopt;
}

std::string identifierText(const MessageDefinition& message) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(message.extended ? 8 : 3)
         << message.id;
    return text.str();
}

const char* whyNotDecodable(const canSignalDef_t& record, bool isParameterGroup) {
    const bitfield::ByteRange bytes = bitfield::byteRange(record.startbit, record.bits, record.endian);
    if (bytes.numBytes > bitfield::maxRangeBytes) {
        return "touches more than 8 bytes";
    }
    if (!record.canFD && !isParameterGroup &&
        unsigned{bytes.startByte} + bytes.numBytes > longestClassicFrame) {
        return "reaches beyond the 8 bytes of a classic frame";
    }
    return nullptr;
}

bool sameMeaning(const MessageDefinition& left, const MessageDefinition& right) {
    return identityOf(left) == identityOf(right) &&
           std::equal(left.signals.begin(), left.signals.end(), right.signals.begin(), right.signals.end(),
                      [](const SignalDefinition& a, const SignalDefinition& b) { return sameMeaning(a, b); });
}

std::size_t hashOfMeaning(const MessageDefinition& message) {
    constexpr std::size_t factor = 0x9E3779B97F4A7C15; // 2^64 over the golden ratio
    std::size_t hash = std::hash<std::string>()(message.name) ^ message.id * factor;
    for (const SignalDefinition& signal : message.signals) {
        hash =
            (hash ^ std::hash<std::string>()(signal.common().instance) ^ signal.common().startbit) * factor;
    }
    return hash;
}

} // namespace rksignal

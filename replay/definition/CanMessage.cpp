#include "definition/CanMessage.h"

#include "definition/CanDefinition.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <sstream>
#include <tuple>

namespace rksignal {
namespace {

std::string linePlace(const DbcFile& file, unsigned line) {
    return file.path + ":" + std::to_string(line);
}

/// Identifiers as traces show them: 3 digits, or 8 for an extended one.
std::string identifierText(const canSignalDef_t& record) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(record.extended ? 8 : 3)
         << record.msgId;
    return text.str();
}

DbcValueType dbcType(signalValue_t type) {
    switch (type) {
    case signalValue_t::Signed:
        return DbcValueType::Signed;
    case signalValue_t::Float:
        return DbcValueType::Float;
    case signalValue_t::Double:
        return DbcValueType::Double;
    default:
        return DbcValueType::Unsigned;
    }
}

/// All but the multiplexing. Instance names are unique in the message, signal names need not be.
DbcSignal dbcSignal(const canSignalDef_t& record) {
    DbcSignal signal;
    signal.name = record.instance;
    signal.startbit = record.startbit;
    signal.bits = record.bits;
    signal.bigEndian = record.endian;
    signal.type = dbcType(record.type);
    signal.scale = record.scale;
    signal.offset = record.offset;
    signal.unit = record.unit;
    signal.multiplexer = record.multiplexer != 0;
    signal.valueDescriptions = record.valueDescriptions;
    return signal;
}

CanMessage emptyMessage(const PlacedDefinition<canSignalDef_t>& first) {
    const canSignalDef_t& record = first.record;
    CanMessage result;
    result.message.id = record.msgId;
    result.message.extended = record.extended;
    result.message.canFd = record.canFD;
    result.message.name = record.message.empty() ? identifierText(record) : record.message;
    result.message.sender = record.sender;
    result.channel = first.anyChannel ? std::nullopt : std::optional(record.channel);
    result.place = first.place;
    return result;
}

/// Makes the multiplexed signals depend on the multiplexer; without one they depend on what is not there.
void linkMultiplexer(CanMessage& message) {
    const auto multiplexer =
        std::find_if(message.records.begin(), message.records.end(),
                     [](const auto& record) { return record.multiplexer != 0 && !record.multiplexed; });
    const std::string name = multiplexer != message.records.end() ? multiplexer->instance : "none";
    for (std::size_t i = 0; i < message.records.size(); ++i) {
        const canSignalDef_t& record = message.records[i];
        if (record.multiplexed) {
            message.message.signals[i].multiplexing = {name, {{record.mux, record.mux}}};
        }
    }
}

} // namespace

std::vector<CanMessage> canMessages(const DbcFile& file, std::optional<std::uint8_t> channel) {
    std::vector<CanMessage> messages;
    for (const DbcMessage& message : file.messages) {
        CanMessage result{message, channel, linePlace(file, message.line), {}, {}};
        for (const DbcSignal& signal : message.signals) {
            result.records.push_back(canDefinition(message, signal));
            result.records.back().instance = message.name + "." + signal.name;
            result.places.push_back(linePlace(file, signal.line));
        }
        messages.push_back(std::move(result));
    }
    return messages;
}

std::vector<CanMessage> canMessages(const std::vector<PlacedDefinition<canSignalDef_t>>& definitions) {
    const auto identity = [](const PlacedDefinition<canSignalDef_t>& definition) {
        const canSignalDef_t& record = definition.record;
        return std::tuple(record.msgId, record.extended, record.canFD, definition.anyChannel, record.channel,
                          record.message);
    };
    std::vector<CanMessage> messages;
    std::map<decltype(identity(definitions.front())), std::size_t> places;
    for (const auto& definition : definitions) {
        if (definition.record.pduId) {
            continue;
        }
        const auto [place, isNew] = places.try_emplace(identity(definition), messages.size());
        if (isNew) {
            messages.push_back(emptyMessage(definition));
        }
        CanMessage& message = messages[place->second];
        message.message.signals.push_back(dbcSignal(definition.record));
        message.records.push_back(definition.record);
        message.places.push_back(definition.place);
    }
    std::for_each(messages.begin(), messages.end(), linkMultiplexer);
    return messages;
}

} // namespace rksignal

#include "columns/ColumnMetadata.h"

#include "columns/ArrowExport.h"
#include "text/NumberText.h"

#include <nlohmann/json.hpp>

namespace rksignal {
namespace {

/// `{"0":"Off","1":"On"}`, in the order of the raw words; empty if there are no texts.
std::string valuesJson(const baseSignalDef_t& signal) {
    using nlohmann::ordered_json;
    if (signal.valueDescriptions.empty()) {
        return "";
    }
    ordered_json values;
    for (const auto& [raw, text] : signal.valueDescriptions) {
        const bool isSigned = signal.type == signalValue_t::Signed;
        values[isSigned ? std::to_string(static_cast<std::int64_t>(raw)) : std::to_string(raw)] = text;
    }
    return values.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

/// As traces show it: hexadecimal of CAN and LIN, the slot of FlexRay.
std::string idText(const MessageDefinition& message) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    switch (message.kind) {
    case SignalKind::Can:
        return identifierText(message);
    case SignalKind::Lin:
        return {digits[message.id >> 4 & 0xF], digits[message.id & 0xF]};
    case SignalKind::FlexRay:
        return std::to_string(message.id);
    default:
        return "";
    }
}

} // namespace

std::string signalMetadata(const baseSignalDef_t& signal, const SignalDefinition& definition) {
    ArrowMetadata metadata;
    metadata.add("instance", signal.instance);
    metadata.add("unit", signal.unit);
    metadata.add("comment", signal.comment);
    metadata.add("factor", doubleText(signal.scale));
    metadata.add("offset", doubleText(signal.offset));
    if (definition.minimum != definition.maximum) {
        metadata.add("minimum", doubleText(definition.minimum));
        metadata.add("maximum", doubleText(definition.maximum));
    }
    metadata.add("values", valuesJson(signal));
    return metadata.bytes();
}

std::string messageMetadata(const MessageDefinition& message) {
    ArrowMetadata metadata;
    metadata.add("message", message.name);
    metadata.add("bus", kindName(message.kind));
    metadata.add("id", idText(message));
    if (message.kind == SignalKind::Can) {
        metadata.add("format", message.extended ? "extended" : "standard");
    }
    metadata.add("channel", message.channel ? std::to_string(*message.channel) : "");
    metadata.add("sender", message.sender);
    metadata.add("comment", message.comment);
    metadata.add("cycle_time_ms", message.cycleTime ? doubleText(*message.cycleTime) : "");
    return metadata.bytes();
}

} // namespace rksignal

/// \file
/// Everything that a model of definitions says but for the places, as text that tests compare.
#pragma once

#include "definition/Definition.h"

#include <sstream>
#include <string>
#include <vector>

namespace rksignal {

template <class Value>
std::string shownOptional(const std::optional<Value>& value) {
    return value ? std::to_string(*value) : "none";
}

inline std::string modelText(const MessageDefinition& message, const SignalDefinition& signal) {
    std::ostringstream out;
    out.precision(17);
    std::visit([&out](const auto& record) { out << "  " << record; }, signal.record);
    const baseSignalDef_t& record = signal.common();
    out << " reference " << record.reference << " multiplexer " << (record.multiplexer != 0) << " comment "
        << record.comment << " from " << signal.minimum << " to " << signal.maximum << " initial "
        << shownOptional(signal.initial) << " invalid " << shownOptional(signal.invalid);
    for (const std::string& receiver : signal.receivers) {
        out << " for " << receiver;
    }
    if (signal.multiplexing) {
        const auto multiplexer = signal.multiplexing->multiplexer;
        out << " by " << (multiplexer ? message.signals[*multiplexer].common().instance : "none");
        for (const auto& [first, last] : signal.multiplexing->ranges) {
            out << ' ' << first << '-' << last;
        }
    }
    return out.str() + '\n';
}

inline std::string modelText(const std::vector<MessageDefinition>& messages) {
    std::string text;
    for (const MessageDefinition& message : messages) {
        std::ostringstream out;
        out << kindName(message.kind) << ' ' << message.name << " channel " << shownOptional(message.channel)
            << " id " << message.id << ' ' << message.extended << message.canFd << message.isParameterGroup
            << " pdu " << shownOptional(message.pduId) << ' ' << static_cast<int>(message.pduHeader)
            << " length " << message.length << " of " << message.sender << " every "
            << shownOptional(message.cycleTime) << " comment " << message.comment << '\n';
        text += out.str();
        for (const SignalDefinition& signal : message.signals) {
            text += modelText(message, signal);
        }
    }
    return text;
}

} // namespace rksignal

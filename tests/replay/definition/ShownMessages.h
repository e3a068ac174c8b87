/// \file
/// Definitions of CAN and LIN messages as text that tests compare.
#pragma once

#include "definition/Definition.h"

#include <sstream>
#include <string>

namespace rksignal {

/// What `...` stands for, a layout that does not matter.
inline const std::string anyLayout = R"(: 0|8@1+ (1,0) [0|0] "")";

inline std::string layoutOf(const SignalDefinition& signal) {
    const baseSignalDef_t& record = signal.common();
    constexpr const char* types[] = {"+", "-", " float", " double"};
    std::ostringstream out;
    out << ": " << record.startbit << '|' << int{record.bits} << (record.endian ? "@0" : "@1")
        << types[static_cast<int>(record.type)] << " (" << record.scale << ',' << record.offset << ") ["
        << signal.minimum << '|' << signal.maximum << "] \"" << record.unit << '"';
    return out.str() == anyLayout ? "..." : out.str();
}

/// ` S* < M 1-3 7-7 : 0|8@1+ (2,0) [0|0] "km" A B {1 on} # comment`, with a `*` for a multiplexer and value
/// texts under the raw words of their values. Behind the layout `=5` is the initial value, `!6` the invalid
/// one.
inline void show(std::ostream& out, const MessageDefinition& message, const SignalDefinition& signal) {
    out << ' ' << signal.common().signal << (signal.common().multiplexer != 0 ? "*" : "");
    if (signal.common().instance != message.name + "." + signal.common().signal) {
        out << " as " << signal.common().instance;
    }
    if (signal.multiplexing) {
        out << " < " << message.signals[*signal.multiplexing->multiplexer].common().signal;
        for (const auto& [first, last] : signal.multiplexing->ranges) {
            out << ' ' << first << '-' << last;
        }
    }
    out << ' ' << layoutOf(signal);
    if (signal.initial) {
        out << " =" << *signal.initial;
    }
    if (signal.invalid) {
        out << " !" << *signal.invalid;
    }
    for (const std::string& receiver : signal.receivers) {
        out << ' ' << receiver;
    }
    for (const auto& [value, text] : signal.common().valueDescriptions) {
        out << " {" << value << ' ' << text << '}';
    }
    out << (signal.common().comment.empty() ? "" : " # " + signal.common().comment) << '\n';
}

/// `A@9 1A2x [8 fd] ECU # comment in short header 7 every 20 ms` with channel, identifier, length and sender, then its
/// signals.
inline std::string shown(const std::vector<MessageDefinition>& definitions) {
    std::ostringstream messages;
    for (const MessageDefinition& message : definitions) {
        messages << message.name << (message.channel ? "@" + std::to_string(*message.channel) : "") << ' '
                 << std::hex << message.id << std::dec << (message.extended ? "x [" : " [") << message.length
                 << (message.canFd              ? " fd]"
                     : message.isParameterGroup ? " j1939]"
                                                : "]")
                 << (message.sender.empty() ? "" : " ") << message.sender
                 << (message.comment.empty() ? "" : " # " + message.comment);
        if (message.pduId) {
            messages << (message.pduHeader == PduHeader::Short ? " in short header " : " in long header ")
                     << std::hex << *message.pduId << std::dec;
        }
        if (message.cycleTime) {
            messages << " every " << *message.cycleTime << " ms";
        }
        messages << '\n';
        for (const SignalDefinition& signal : message.signals) {
            show(messages, message, signal);
        }
    }
    return messages.str();
}

} // namespace rksignal

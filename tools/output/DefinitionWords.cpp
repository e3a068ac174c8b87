#include "output/DefinitionWords.h"

#include "catalog/ParameterGroup.h"
#include "output/BitTable.h"
#include "text/NumberText.h"

#include <arpa/inet.h>
#include <array>
#include <iomanip>
#include <sstream>

namespace rksignal {
namespace {

std::string hexadecimal(std::uint64_t number, int digits) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(digits) << number;
    return text.str();
}

std::string channelText(const MessageDefinition& message) {
    return message.channel ? "channel " + std::to_string(*message.channel) : "every channel";
}

std::string canKey(const MessageDefinition& message) {
    std::string text = "can " + identifierText(message) + (message.extended ? ", 29 bits" : ", 11 bits");
    if (message.isParameterGroup) {
        const std::uint8_t source = j1939::sourceOf(message.id);
        text += ", parameter group " + std::to_string(j1939::groupOf(message.id)) + " of " +
                (source == j1939::nullAddress ? "any source" : "source " + hexadecimal(source, 2));
    }
    text += message.pduId ? ", PDU " + hexadecimal(*message.pduId, 6) : "";
    return text + (message.canFd ? ", CAN FD, " : ", ") + channelText(message);
}

std::string positionText(const flexRayPosition_t& position) {
    std::string text = "slot " + std::to_string(position.slot) + (position.type ? ", static" : ", dynamic");
    text += ", from cycle " + std::to_string(position.baseCycle) + " on every " +
            std::to_string(position.repetition);
    return text + (position.pduId ? ", PDU " + hexadecimal(*position.pduId, 6) : "");
}

/// `ADDRESS:PORT`, of what is given; empty if nothing is.
std::string endpointText(const char* head, std::uint64_t mac, std::uint32_t ip, std::uint16_t port) {
    std::string text = mac != 0 ? "MAC " + hexadecimal(mac, 12) : "";
    if (ip != 0) {
        std::array<char, INET_ADDRSTRLEN> address{};
        const in_addr number{ip};
        text += (text.empty() ? "" : " ") +
                std::string(inet_ntop(AF_INET, &number, address.data(), address.size()));
    }
    text += port != 0 ? ":" + std::to_string(port) : "";
    return text.empty() ? "" : head + text;
}

std::string containerText(const ethernetPosition_t& position) {
    switch (position.ethSignalType) {
    case ethSignalPosType_t::IPDU:
        return "IPDU " + hexadecimal(position.pduId, 8);
    case ethSignalPosType_t::SPDU:
        return "SPDU " + hexadecimal(position.messageId, 8);
    case ethSignalPosType_t::SOMEIP:
        return "SOME/IP service " + hexadecimal(position.serviceId, 4) + " method " +
               hexadecimal(position.methodEventId, 4);
    case ethSignalPosType_t::DEFAULT:
        break;
    }
    return "payload";
}

std::string positionText(const ethernetPosition_t& position) {
    constexpr unsigned tcp = 6;
    constexpr unsigned udp = 17;
    std::string text = containerText(position);
    text += position.ipProtocol == tcp ? ", TCP" : position.ipProtocol == udp ? ", UDP" : "";
    text += endpointText(", from ", position.sourceMac, position.sourceIp, position.sourcePort);
    text += endpointText(", to ", position.destinationMac, position.destinationIp, position.destinationPort);
    return text + (position.vlan ? ", VLAN " + std::to_string(position.vlanId) : "");
}

template <class Position>
std::string firstPosition(const std::vector<Position>& positions) {
    if (positions.empty()) {
        return "no position";
    }
    const std::string others =
        positions.size() > 1 ? ", 1 of " + std::to_string(positions.size()) + " positions" : "";
    return positionText(positions.front()) + others;
}

} // namespace

std::string shortIdentifier(const MessageDefinition& message) {
    switch (message.kind) {
    case SignalKind::Can:
        return identifierText(message);
    case SignalKind::Lin:
        return hexadecimal(message.id, 2);
    case SignalKind::FlexRay:
        return std::to_string(message.id);
    default:
        return {};
    }
}

std::string frameKey(const MessageDefinition& message, const SignalDefinition& signal) {
    const baseSignalDef_t& common = signal.common();
    const std::string channel = ", " + channelText(message);
    switch (message.kind) {
    case SignalKind::Can:
        return canKey(message);
    case SignalKind::Lin:
        return "lin " + hexadecimal(message.id, 2) + channel;
    case SignalKind::FlexRay:
        return "flexray " + firstPosition(std::get<flexRaySignalDef_t>(signal.record).positions) + channel;
    case SignalKind::Ethernet:
        return "ethernet " + firstPosition(std::get<ethernetSignalDef_t>(signal.record).positions) + channel;
    case SignalKind::Digital:
    case SignalKind::Analog:
        return std::string(kindName(message.kind)) + " input " + std::to_string(common.channel) +
               " of module " + std::to_string(common.tslId);
    default:
        return std::string(kindName(message.kind));
    }
}

std::string typeName(const SignalDefinition& signal) {
    std::ostringstream text;
    text << signal.common().type;
    return text.str();
}

std::string fieldText(const SignalDefinition& signal) {
    const BitRange range = BitRange::of(signal);
    return "byte " + std::to_string(range.startBit / 8) + " bit " + std::to_string(range.startBit % 8) +
           ", " + std::to_string(range.bits) + (range.bits == 1 ? " bit" : " bits") +
           (range.bigEndian ? ", big endian, " : ", little endian, ") + typeName(signal);
}

std::string branchText(const MessageDefinition& message, const SignalDefinition& signal) {
    if (!signal.multiplexing) {
        return {};
    }
    const auto& multiplexer = signal.multiplexing->multiplexer;
    const std::string name = multiplexer ? message.signals[*multiplexer].common().signal : "?";
    return name + " = " + rangesText(signal.multiplexing->ranges);
}

std::string rangesText(const std::vector<ValueRange>& ranges) {
    std::string text;
    for (const auto& [first, last] : ranges) {
        text += (text.empty() ? "" : ", ") + std::to_string(first);
        text += first == last ? "" : "-" + std::to_string(last);
    }
    return text;
}

std::string valueTexts(const baseSignalDef_t& signal) {
    std::string list;
    for (const auto& [raw, text] : signal.valueDescriptions) {
        list += (list.empty() ? "" : ", ") + rawText(raw, signal.type) + " " + text;
    }
    return list;
}

std::string messageText(const MessageDefinition& message) {
    std::string text = message.length > 0 ? ", " + std::to_string(message.length) + " bytes" : "";
    text += message.sender.empty() ? "" : ", from " + message.sender;
    text += message.cycleTime ? ", every " + doubleText(*message.cycleTime) + " ms" : "";
    return text.empty() ? text : text.substr(2);
}

std::string rawText(std::uint64_t raw, signalValue_t type) {
    std::array<char, maxNumberText> text{};
    return {text.data(), writeRaw(text.data(), raw, type)};
}

} // namespace rksignal

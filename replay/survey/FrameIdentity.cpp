#include "survey/FrameIdentity.h"

#include <arpa/inet.h>
#include <span>

namespace rksignal {
namespace {

std::string hexText(std::uint32_t number, int digits) {
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += "0123456789ABCDEF"[number >> shift & 0xF];
    }
    return text;
}

std::string macText(std::span<const std::uint8_t> address) {
    std::string text;
    for (const std::uint8_t byte : address.first(6)) {
        text += text.empty() ? "" : ":";
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 0xFU];
    }
    return text;
}

/// `10.0.0.1:30490` or `[fe80::1]:30490`
std::string endText(const EthernetFlow& flow, const std::array<std::uint8_t, 16>& address,
                    std::uint16_t port) {
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(flow.ipVersion == 4 ? AF_INET : AF_INET6, address.data(), text, sizeof text);
    const std::string host = flow.ipVersion == 4 ? text : '[' + std::string(text) + ']';
    return host + ':' + std::to_string(port);
}

std::string flowText(const EthernetFlow& flow) {
    const std::string vlan = flow.vlanId != 0 ? " vlan " + std::to_string(flow.vlanId) : "";
    if (flow.ipVersion == 0) {
        return hexText(flow.etherType, 4) + ' ' + macText(flow.source) + " > " + macText(flow.destination) +
               vlan;
    }
    constexpr std::uint8_t tcp = 6;
    return (flow.ipProtocol == tcp ? "tcp " : "udp ") + endText(flow, flow.source, flow.sourcePort) + " > " +
           endText(flow, flow.destination, flow.destinationPort) + vlan;
}

} // namespace

std::string identityText(const FrameIdentity& identity) {
    switch (identity.kind) {
    case SignalKind::Can:
        return hexText(identity.id, identity.extended ? 8 : 3);
    case SignalKind::Lin:
        return hexText(identity.id, 2);
    case SignalKind::Ethernet:
        return flowText(identity.flow);
    case SignalKind::Gps:
        return "";
    default:
        return std::to_string(identity.id);
    }
}

} // namespace rksignal

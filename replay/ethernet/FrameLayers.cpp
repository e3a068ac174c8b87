// Ethernet II, IEEE 802.1Q and 802.1ad, IPv4 (RFC 791), IPv6 (RFC 8200), UDP (RFC 768), TCP (RFC 9293). Each
// layer takes its header off the front of what is left of the frame.

#include "ethernet/FrameLayers.h"

#include "rkutil/ByteOrder.h"

#include <cstring>

namespace rksignal {
namespace {

constexpr std::uint16_t typeIpv4 = 0x0800;
constexpr std::uint16_t typeIpv6 = 0x86DD;
constexpr std::uint8_t protocolTcp = 6;
constexpr std::uint8_t protocolUdp = 17;

bool isTag(std::uint16_t type) {
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

std::uint16_t number16(ByteView bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bigEndian<2>(bytes.data() + offset));
}

/// What an IP packet holds.
struct IpContent {
    ByteView bytes;
    bool cut = false; ///< by fragmentation: the rest is in other packets
};

/// \return the type of what is left in `rest`, or 0 if the frame is refused
std::uint16_t readEthernet(ByteView& rest, FrameLayers& layers) {
    constexpr std::size_t headerBytes = 14;
    constexpr std::size_t tagBytes = 4;
    if (rest.size() < headerBytes) {
        return 0;
    }
    layers.info.destinationMac = bigEndian<6>(rest.data());
    layers.info.sourceMac = bigEndian<6>(rest.data() + 6);
    std::uint16_t type = number16(rest, headerBytes - 2);
    rest = rest.subspan(headerBytes);
    for (; isTag(type); rest = rest.subspan(tagBytes)) {
        if (rest.size() < tagBytes || layers.tags == FrameLayers::maxTags) {
            return 0;
        }
        const std::uint16_t vlanId = number16(rest, 0) & 0xFFF;
        layers.vlanIds[layers.tags++] = vlanId;
        layers.info.vlan = 1;
        layers.info.vlanId = layers.flow.vlanId = vlanId;
        type = number16(rest, 2);
    }
    return type;
}

bool readIpv4(ByteView packet, FrameLayers& layers, IpContent& content) {
    constexpr std::size_t minHeaderBytes = 20;
    if (packet.size() < minHeaderBytes || packet[0] >> 4 != 4) {
        return false;
    }
    const std::size_t headerBytes = std::size_t{4} * (packet[0] & 0xFU);
    const std::size_t totalBytes = number16(packet, 2);
    const std::uint16_t fragment = number16(packet, 6);
    if (headerBytes < minHeaderBytes || headerBytes > totalBytes || totalBytes > packet.size() ||
        (fragment & 0x1FFF) != 0) {
        return false;
    }
    layers.info.ipProtocol = packet[9];
    std::memcpy(&layers.info.sourceIp, packet.data() + 12, 4);
    std::memcpy(&layers.info.destinationIp, packet.data() + 16, 4);
    std::memcpy(layers.flow.sourceIp.data(), packet.data() + 12, 4);
    std::memcpy(layers.flow.destinationIp.data(), packet.data() + 16, 4);
    layers.flow.ipVersion = 4;
    content = {packet.subspan(headerBytes, totalBytes - headerBytes), (fragment & 0x2000) != 0};
    return true;
}

/// Takes the extension headers off `content`. \return the protocol behind them, or 0 if it is refused
std::uint8_t skipExtensions(std::uint8_t next, IpContent& content) {
    constexpr std::uint8_t fragmentHeader = 44;
    constexpr std::uint8_t authenticationHeader = 51;
    for (;;) {
        switch (next) {
        case 0:   // hop by hop
        case 43:  // routing
        case 60:  // destination options
        case 135: // mobility
        case 139: // host identity
        case 140: // shim6
        case fragmentHeader:
        case authenticationHeader:
            break;
        default:
            return next;
        }
        if (content.bytes.size() < 8) {
            return 0;
        }
        std::size_t length = 8 + std::size_t{8} * content.bytes[1];
        if (next == fragmentHeader) {
            const std::uint16_t fragment = number16(content.bytes, 2);
            if (fragment >> 3 != 0) {
                return 0; // not the first one: it has no ports
            }
            content.cut = (fragment & 1) != 0;
            length = 8;
        } else if (next == authenticationHeader) {
            length = 8 + std::size_t{4} * content.bytes[1]; // RFC 4302, 2.2
        }
        if (length > content.bytes.size()) {
            return 0;
        }
        next = content.bytes[0];
        content.bytes = content.bytes.subspan(length);
    }
}

bool readIpv6(ByteView packet, FrameLayers& layers, IpContent& content) {
    constexpr std::size_t headerBytes = 40;
    if (packet.size() < headerBytes || packet[0] >> 4 != 6) {
        return false;
    }
    const std::size_t payloadBytes = number16(packet, 4);
    if (payloadBytes > packet.size() - headerBytes) {
        return false;
    }
    std::memcpy(layers.flow.sourceIp.data(), packet.data() + 8, 16);
    std::memcpy(layers.flow.destinationIp.data(), packet.data() + 24, 16);
    layers.flow.ipVersion = 6;
    content = {packet.subspan(headerBytes, payloadBytes)};
    layers.info.ipProtocol = skipExtensions(packet[6], content);
    return true;
}

bool readUdp(const IpContent& content, FrameLayers& layers) {
    constexpr std::size_t headerBytes = 8;
    if (content.bytes.size() < headerBytes) {
        return false;
    }
    const std::size_t length = number16(content.bytes, 4);
    if (length < headerBytes || (!content.cut && length > content.bytes.size())) {
        return false;
    }
    layers.payload = content.bytes.first(std::min(length, content.bytes.size())).subspan(headerBytes);
    return true;
}

bool readTcp(const IpContent& content, FrameLayers& layers) {
    constexpr std::size_t minHeaderBytes = 20;
    if (content.bytes.size() < minHeaderBytes) {
        return false;
    }
    const std::size_t headerBytes = std::size_t{4} * (content.bytes[12] >> 4U);
    if (headerBytes < minHeaderBytes || headerBytes > content.bytes.size()) {
        return false;
    }
    layers.tcpSequence = bigEndian<4>(content.bytes.data() + 4);
    layers.tcpStarts = (content.bytes[13] & 2) != 0;
    layers.payload = content.bytes.subspan(headerBytes);
    return true;
}

bool readTransport(const IpContent& content, FrameLayers& layers) {
    const bool isRead = layers.info.ipProtocol == protocolUdp   ? readUdp(content, layers)
                        : layers.info.ipProtocol == protocolTcp ? readTcp(content, layers)
                                                                : false;
    if (isRead) {
        layers.info.sourcePort = layers.flow.sourcePort = number16(content.bytes, 0);
        layers.info.destinationPort = layers.flow.destinationPort = number16(content.bytes, 2);
    }
    return isRead;
}

} // namespace

bool FrameLayers::analyse(ByteView frame, FrameLayers& layers) {
    ByteView packet = frame;
    const std::uint16_t type = readEthernet(packet, layers);
    IpContent content;
    const bool isRead = type == typeIpv4   ? readIpv4(packet, layers, content)
                        : type == typeIpv6 ? readIpv6(packet, layers, content)
                                           : false;
    if (!isRead || !readTransport(content, layers)) {
        return false;
    }
    layers.info.payloadOffset = static_cast<std::uint32_t>(layers.payload.data() - frame.data());
    return true;
}

} // namespace rksignal

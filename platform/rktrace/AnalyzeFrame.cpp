// The headers of an Ethernet frame: Ethernet II, IEEE 802.1Q, IPv4 (RFC 791), UDP (RFC 768), TCP (RFC 9293).

#include "rktrace/MIITraceMessage.h"
#include "rkutil/ByteOrder.h"

#include <cstring>
#include <span>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint16_t typeIpv4 = 0x0800;
constexpr std::uint16_t typeVlan = 0x8100;
constexpr std::uint8_t protocolTcp = 6;
constexpr std::uint8_t protocolUdp = 17;

constexpr std::size_t macBytes = 6;
constexpr std::size_t ethernetBytes = 14;
constexpr std::size_t tagBytes = 4;
constexpr std::size_t ipv4Bytes = 20;
constexpr std::size_t udpBytes = 8;
constexpr std::size_t tcpBytes = 20;

std::uint16_t number16(Bytes bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bigEndian<2>(bytes.data() + offset));
}

std::uint64_t macAt(Bytes bytes, std::size_t offset) {
    return bigEndian<8>(bytes.data() + offset) >> 16; // reads two bytes too many, which the shift drops
}

/// Reads addresses and tag. \return the length of the header, or 0 if no IPv4 packet follows it
std::size_t readEthernet(Bytes frame, miiFrameInfo_t& info) {
    if (frame.size() < ethernetBytes) {
        return 0;
    }
    info.destinationMac = macAt(frame, 0);
    info.sourceMac = macAt(frame, macBytes);
    std::uint16_t type = number16(frame, ethernetBytes - 2);
    std::size_t length = ethernetBytes;
    if (type == typeVlan) {
        if (frame.size() < ethernetBytes + tagBytes) {
            return 0;
        }
        info.vlan = 1;
        info.vlanId = number16(frame, ethernetBytes) & 0xFFF;
        type = number16(frame, ethernetBytes + 2);
        length += tagBytes;
    }
    return type == typeIpv4 ? length : 0;
}

/// An IPv4 packet without its header and without padding.
struct Ipv4Content {
    std::size_t headerLength;
    Bytes bytes;
    bool cut; ///< a fragment: the rest is in other packets
};

/// Reads addresses and protocol. \return what the packet holds; no header if it is refused
Ipv4Content readIpv4(Bytes packet, miiFrameInfo_t& info) {
    if (packet.size() < ipv4Bytes || packet[0] >> 4 != 4) {
        return {};
    }
    const std::size_t headerLength = std::size_t{4} * (packet[0] & 0xFU);
    const std::size_t totalLength = number16(packet, 2);
    const std::uint16_t fragment = number16(packet, 6);
    info.ipProtocol = packet[9];
    std::memcpy(&info.sourceIp, packet.data() + 12, sizeof info.sourceIp);
    std::memcpy(&info.destinationIp, packet.data() + 16, sizeof info.destinationIp);
    const bool fits =
        headerLength >= ipv4Bytes && headerLength <= totalLength && totalLength <= packet.size();
    const bool isFirst = (fragment & 0x1FFF) == 0;
    if (!fits || !isFirst) {
        return {};
    }
    const bool cut = (fragment & 0x2000) != 0;
    return {headerLength, packet.subspan(headerLength, totalLength - headerLength), cut};
}

/// The length of a UDP header, or 0 if there is none or its length field is wrong.
std::size_t udpHeader(const Ipv4Content& content) {
    if (content.bytes.size() < udpBytes) {
        return 0;
    }
    const std::size_t length = number16(content.bytes, 4);
    return length >= udpBytes && (content.cut || length <= content.bytes.size()) ? udpBytes : 0;
}

/// The length of a TCP header with its options, or 0 if there is none.
std::size_t tcpHeader(const Ipv4Content& content) {
    if (content.bytes.size() < tcpBytes) {
        return 0;
    }
    const std::size_t length = std::size_t{4} * (content.bytes[12] >> 4U);
    return length >= tcpBytes && length <= content.bytes.size() ? length : 0;
}

} // namespace

bool MIITraceMessage::analyzeFrame(const unsigned char* data, unsigned long length, miiFrameInfo_t& info) {
    const Bytes frame(data, length);
    const std::size_t ethernetLength = readEthernet(frame, info);
    if (ethernetLength == 0) {
        return false;
    }
    const Ipv4Content content = readIpv4(frame.subspan(ethernetLength), info);
    if (content.headerLength == 0) {
        return false;
    }
    const std::size_t transportLength = info.ipProtocol == protocolUdp   ? udpHeader(content)
                                        : info.ipProtocol == protocolTcp ? tcpHeader(content)
                                                                         : 0;
    if (transportLength == 0) {
        return false;
    }
    info.sourcePort = number16(content.bytes, 0);
    info.destinationPort = number16(content.bytes, 2);
    info.payloadOffset = static_cast<std::uint32_t>(ethernetLength + content.headerLength + transportLength);
    return true;
}

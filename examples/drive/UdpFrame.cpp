#include "UdpFrame.h"

#include <algorithm>

namespace drive {

namespace {

constexpr std::size_t leastFrame = 60;
constexpr std::size_t udpHeader = 8;
constexpr std::size_t ipHeader = 20;

void putStation(Octets& octets, std::uint8_t station) {
    putBig(octets, 0x020000000000 + station, 6);
}

/// The one's complement of the one's complement sum of the header's 16-bit words (RFC 1071).
std::uint16_t checksum(const Octets& header) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < header.size(); i += 2) {
        sum += header[i] * 256U + header[i + 1];
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~(sum + (sum >> 16)));
}

/// Never fragmented, and so without an identification (RFC 6864).
Octets ipHeaderOf(const UdpPath& path, std::size_t datagram) {
    Octets header;
    putBig(header, 0x4500, 2); // version 4, five words
    putBig(header, ipHeader + datagram, 2);
    putBig(header, 0x00004000, 4); // do not fragment
    putBig(header, 0x40110000, 4); // 64 hops, UDP, the checksum's place
    putBig(header, 0x0A000000U + path.source, 4);
    putBig(header, 0x0A000000U + path.destination, 4);
    const std::uint16_t sum = checksum(header);
    header[10] = static_cast<std::uint8_t>(sum >> 8);
    header[11] = static_cast<std::uint8_t>(sum);
    return header;
}

} // namespace

Octets udpFrame(const UdpPath& path, const Octets& payload) {
    Octets frame;
    putStation(frame, path.destination);
    putStation(frame, path.source);
    if (path.vlanId != 0) {
        putBig(frame, 0x81000000U + path.vlanId, 4);
    }
    putBig(frame, 0x0800, 2);
    const std::size_t datagram = udpHeader + payload.size();
    const Octets header = ipHeaderOf(path, datagram);
    frame.insert(frame.end(), header.begin(), header.end());
    putBig(frame, path.port, 2);
    putBig(frame, path.port, 2);
    putBig(frame, datagram, 2);
    putBig(frame, 0, 2);
    frame.insert(frame.end(), payload.begin(), payload.end());
    frame.resize(std::max(frame.size(), leastFrame));
    return frame;
}

} // namespace drive

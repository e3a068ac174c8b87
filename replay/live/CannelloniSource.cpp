#include "live/CannelloniSource.h"

#include "live/CannelloniPacket.h"
#include "live/DatagramReader.h"
#include "live/PacketSequence.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <utility>

namespace rksignal {
namespace {

/// Of a packet, with jumbo frames of Ethernet.
constexpr std::size_t mostPacketBytes = 9216;

/// \throws Error
int openUdp(const std::string& address) {
    const std::size_t colon = address.rfind(':');
    std::string host = address.substr(0, colon);
    if (colon == address.npos || host.empty()) {
        throw Error(address + " is not ADDRESS:PORT");
    }
    if (host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* found = nullptr;
    if (const int status = getaddrinfo(host.c_str(), address.c_str() + colon + 1, &hints, &found)) {
        throw Error("cannot listen at " + address + ": " + gai_strerror(status));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    Descriptor opened(socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (opened.get() < 0 || bind(opened.get(), found->ai_addr, found->ai_addrlen) != 0) {
        throw Error("cannot listen at " + address, errno);
    }
    const int buffer = 4 * 1024 * 1024; // as far as the system allows it
    setsockopt(opened.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    return opened.release();
}

/// The sequence numbers of the latest senders.
class Senders {
  public:
    int meet(std::span<const std::uint8_t> address, std::uint8_t number) {
        for (Sender& each : senders) {
            if (std::equal(address.begin(), address.end(), each.address.begin(),
                           each.address.begin() + each.length)) {
                return each.packets.meet(number);
            }
        }
        Sender& newcomer = senders[std::exchange(oldest, (oldest + 1) % senders.size())];
        newcomer = {};
        newcomer.length = std::min(address.size(), newcomer.address.size());
        std::copy_n(address.begin(), newcomer.length, newcomer.address.begin());
        return newcomer.packets.meet(number);
    }

  private:
    struct Sender {
        std::array<std::uint8_t, sizeof(sockaddr_in6)> address{};
        std::size_t length = 0;
        PacketSequence packets;
    };

    std::array<Sender, 16> senders{};
    std::size_t oldest = 0;
};

} // namespace

struct CannelloniSource::State {
    State(const std::string& name, const std::string& address)
        : packets(name, openUdp(address), mostPacketBytes) {}

    DatagramReader packets;
    CannelloniPacket packet; ///< of packets, the one whose frames are given
    Senders senders;
    CANExtTraceMessage message;
};

CannelloniSource::CannelloniSource(const std::string& address, std::uint8_t channel)
    : LiveSource("udp " + address), state(std::make_unique<State>(name(), address)) {
    state->message.channel = channel;
}

CannelloniSource::~CannelloniSource() = default;

std::uint16_t CannelloniSource::port() const {
    sockaddr_in6 address{}; // the port has the same place in an address of IPv4
    socklen_t length = sizeof address;
    getsockname(state->packets.descriptor(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin6_port);
}

int CannelloniSource::descriptor() const {
    return state->packets.descriptor();
}

std::optional<std::uint64_t> CannelloniSource::due() const {
    return state->packet.hasMore() || state->packets.hasMore() ? std::optional<std::uint64_t>(0)
                                                               : std::nullopt;
}

void CannelloniSource::read(MessageSink& sink) {
    DatagramReader& packets = state->packets;
    CannelloniPacket& packet = state->packet;
    if (!packet.hasMore() && !packets.hasMore()) {
        packets.receive();
    }
    while (!sink.closed()) {
        if (packet.hasMore()) {
            if (const auto content = packet.next(state->message)) {
                ++counted.messages;
                deliverContent(*content, sink, packets.timestamp());
            } else {
                countDamage(packets.isWhole() ? packet.malformed() : "packet of more than 9,216 bytes");
            }
        } else if (packets.hasMore()) {
            packets.next();
            packet = CannelloniPacket(packets.bytes());
            if (packet.isPacket()) {
                counted.lost += static_cast<std::uint64_t>(
                    static_cast<std::int64_t>(state->senders.meet(packets.sender(), packet.sequence())));
            }
        } else {
            break;
        }
    }
    counted.interruptions = packets.interruptions();
}

} // namespace rksignal

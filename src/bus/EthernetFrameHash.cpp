#include "bus/EthernetFrameHash.h"

#include "rkutil/macaddr.h"

#include <arpa/inet.h>
#include <ostream>

namespace {

constexpr std::uint64_t macBits = 0xFFFFFFFFFFFF;

/// The golden-ratio combine step on 64-bit words.
constexpr std::uint64_t combined(std::uint64_t hash, std::uint64_t value) {
    return hash ^ (value + 0x9E3779B9 + (hash << 6) + (hash >> 2));
}

/// Of a position or of a frame: both call their fields the same.
template <class Fields>
std::uint64_t hashOf(std::uint8_t channel, const Fields& fields) {
    std::uint64_t hash = combined(0, channel);
    hash = combined(hash, fields.sourceMac);
    hash = combined(hash, fields.destinationMac);
    hash = combined(hash, fields.sourceIp);
    hash = combined(hash, fields.destinationIp);
    hash = combined(hash, fields.sourcePort);
    hash = combined(hash, fields.destinationPort);
    hash = combined(hash, fields.ipProtocol);
    hash = combined(hash, fields.vlan != 0 ? 1 : 0);
    return combined(hash, fields.vlanId);
}

template <class Fields>
void copyFields(const Fields& from, EthernetFrameHash& to) {
    to.sourceMac = from.sourceMac;
    to.destinationMac = from.destinationMac;
    to.sourceIp = from.sourceIp;
    to.destinationIp = from.destinationIp;
    to.sourcePort = from.sourcePort;
    to.destinationPort = from.destinationPort;
    to.ipProtocol = from.ipProtocol;
    to.vlan = from.vlan;
    to.vlanId = from.vlanId;
    to.hashMe();
}

/// A field that is left open passes every value.
template <class Field, class Value>
bool passes(Field field, Value value) {
    return field == 0 || field == value;
}

} // namespace

EthernetFrameHash::EthernetFrameHash() {
    hashMe();
}

EthernetFrameHash::EthernetFrameHash(const ethernetPosition_t& position, unsigned char channel)
    : channel(channel) {
    copyFields(position, *this);
}

EthernetFrameHash::EthernetFrameHash(const EthernetFrameHash& other) {
    copyFields(other, *this);
}

void EthernetFrameHash::setFrame(const ethernetPosition_t& position, unsigned char newChannel) {
    channel = newChannel;
    copyFields(position, *this);
    sourceMac &= macBits;
    destinationMac &= macBits;
    hashMe();
}

std::uint32_t EthernetFrameHash::hashMe() {
    hash = static_cast<std::uint32_t>(hashOf(channel, *this));
    return hash;
}

bool EthernetFrameHash::match(const miiFrameInfo_t& frame, unsigned char seenOn) const {
    return channel == seenOn && passes(sourceMac, frame.sourceMac) &&
           passes(destinationMac, frame.destinationMac) && passes(sourceIp, frame.sourceIp) &&
           passes(destinationIp, frame.destinationIp) && passes(sourcePort, frame.sourcePort) &&
           passes(destinationPort, frame.destinationPort) && passes(ipProtocol, frame.ipProtocol) &&
           (!vlan || frame.vlan != 0) && passes(vlanId, frame.vlanId);
}

std::uint64_t hashFrame(const miiFrameInfo_t& frame, unsigned char channel) {
    return hashOf(channel, frame);
}

std::ostream& operator<<(std::ostream& out, const EthernetFrameHash& frame) {
    out << std::dec << std::boolalpha << "sMAC=";
    macaddr_t(frame.sourceMac).print(out);
    out << ",dMAC=";
    macaddr_t(frame.destinationMac).print(out);
    out << ",sIP=" << inet_ntoa({frame.sourceIp});
    out << ",dIP=" << inet_ntoa({frame.destinationIp}); // a statement of its own: one buffer for both
    return out << ",sP=" << frame.sourcePort << ",dP=" << frame.destinationPort
               << ",ipProto=" << frame.ipProtocol << ",vlan=" << frame.vlan << ",vId=" << frame.vlanId;
}

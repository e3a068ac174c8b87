#include "bus/EthernetFrameHash.h"

#include "bus/EthernetAddressing.h"
#include "bus/EthernetKey.h"
#include "rkutil/macaddr.h"

#include <arpa/inet.h>
#include <ostream>

namespace {

constexpr std::uint64_t macBits = 0xFFFFFFFFFFFF;

using ethernet::AddressingField;

template <class Fields>
void copyFields(const Fields& from, EthernetFrameHash& to) {
    ethernet::forEachAddressingField([](AddressingField, auto& copy, auto field) { copy = field; }, to, from);
    to.hashMe();
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
    hash = static_cast<std::uint32_t>(ethernet::hashOf(channel, *this));
    return hash;
}

bool EthernetFrameHash::match(const miiFrameInfo_t& frame, unsigned char seenOn) const {
    bool passes = channel == seenOn;
    ethernet::forEachAddressingField(
        [&passes](AddressingField kind, auto asked, auto seen) {
            passes &=
                asked == 0 || ethernet::addressingValue(kind, asked) == ethernet::addressingValue(kind, seen);
        },
        *this, frame);
    return passes;
}

std::uint64_t hashFrame(const miiFrameInfo_t& frame, unsigned char channel) {
    return ethernet::hashOf(channel, frame);
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

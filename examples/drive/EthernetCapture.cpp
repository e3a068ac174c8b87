#include "EthernetCapture.h"

namespace drive {

namespace {

constexpr std::uint32_t sectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t interfaceDescription = 1;
constexpr std::uint32_t enhancedPacket = 6;

void padToWord(Octets& octets) {
    octets.resize((octets.size() + 3) / 4 * 4);
}

/// Little endian, version 1.0, of unknown length.
Octets sectionBody() {
    Octets body;
    putLittle(body, 0x1A2B3C4D, 4);
    putLittle(body, 1, 2);
    putLittle(body, 0, 2);
    putLittle(body, ~std::uint64_t{0}, 8);
    return body;
}

/// Ethernet frames of any length, with one option: units of time of 10 to the power -9 s.
Octets interfaceBody() {
    constexpr std::uint16_t ethernet = 1;
    constexpr std::uint16_t timeResolution = 9; // if_tsresol
    Octets body;
    putLittle(body, ethernet, 4);
    putLittle(body, 0, 4);
    putLittle(body, timeResolution, 2);
    putLittle(body, 1, 2);
    putLittle(body, 9, 4);
    putLittle(body, 0, 4); // end of options
    return body;
}

} // namespace

EthernetCapture::EthernetCapture(std::ostream& out) : out(out) {
    writeBlock(sectionHeader, sectionBody());
    writeBlock(interfaceDescription, interfaceBody());
}

void EthernetCapture::write(const MIITraceMessage& message) {
    Octets body;
    putLittle(body, 0, 4); // the interface
    putLittle(body, message.timestamp >> 32, 4);
    putLittle(body, message.timestamp, 4);
    putLittle(body, message.frame.size(), 4); // captured
    putLittle(body, message.frame.size(), 4); // on the wire
    body.insert(body.end(), message.frame.begin(), message.frame.end());
    padToWord(body);
    writeBlock(enhancedPacket, body);
}

/// A block's length, counted over all of it, stands at both of its ends.
void EthernetCapture::writeBlock(std::uint32_t type, const Octets& body) {
    const std::size_t length = 12 + body.size();
    Octets block;
    putLittle(block, type, 4);
    putLittle(block, length, 4);
    block.insert(block.end(), body.begin(), body.end());
    putLittle(block, length, 4);
    out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
}

} // namespace drive

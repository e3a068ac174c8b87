#include "trace/capture/PacketReader.h"

#include "rkutil/ByteOrder.h"
#include "trace/SocketCanFrame.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

using Bytes = PacketReader::Bytes;

constexpr const char* tooShort = "packet is shorter than its head";
constexpr const char* tooLong = "frame is longer than its packet";

} // namespace

struct PacketReader::Link {
    int type;
    std::string_view bus;
    Layer layer;
};

const PacketReader::Link PacketReader::links[] = {
    {1, "eth", &PacketReader::readEthernet},
    {227, "can", &PacketReader::readCan},
    {113, "can", &PacketReader::readCooked<16, 14>},
    {276, "can", &PacketReader::readCooked<20, 0>},
    {212, "lin", &PacketReader::readLin},
    {210, "flexray", &PacketReader::readFlexRay},
};

const PacketReader::Link* PacketReader::find(int linkType) {
    const Link* const link = std::find_if(std::begin(links), std::end(links),
                                          [linkType](const Link& each) { return each.type == linkType; });
    return link != std::end(links) ? link : nullptr;
}

std::string_view PacketReader::busOf(const Link& link) {
    return link.bus;
}

std::optional<FrameContent> PacketReader::read(const Link& link, std::uint8_t channelOfPacket,
                                               bool isBigEndian, Bytes packet) {
    channel = channelOfPacket;
    isHostBigEndian = isBigEndian;
    return (this->*link.layer)(packet);
}

std::optional<FrameContent> PacketReader::fail(const char* why) {
    reason = why;
    return std::nullopt;
}

std::optional<FrameContent> PacketReader::readEthernet(Bytes packet) {
    ethernet.channel = channel;
    ethernet.frame.assign(packet.begin(), packet.end());
    return &ethernet;
}

std::optional<FrameContent> PacketReader::readCan(Bytes packet) {
    return packet.size() < sizeof(std::uint32_t) ? fail(tooShort)
                                                 : readCanFrame(bigEndian<4>(packet.data()), packet);
}

/// Packets of all interfaces together. Their head replaces that of the frame, so only CAN frames are whole.
template <std::size_t headLength, std::size_t protocolAt>
std::optional<FrameContent> PacketReader::readCooked(Bytes packet) {
    constexpr unsigned firstCan = 0x0C; // CAN, CAN FD, CAN XL
    constexpr unsigned lastCan = 0x0E;
    if (packet.size() < headLength + sizeof(std::uint32_t)) {
        return fail(tooShort);
    }
    const unsigned protocol = packet[protocolAt] * 256U + packet[protocolAt + 1];
    if (protocol < firstCan || protocol > lastCan) {
        return PassedMessage::Other;
    }
    const Bytes frame = packet.subspan(headLength);
    return readCanFrame(isHostBigEndian ? bigEndian<4>(frame.data()) : littleEndian<4>(frame.data()), frame);
}

std::optional<FrameContent> PacketReader::readCanFrame(std::uint32_t id, Bytes packet) {
    constexpr std::uint8_t fdFlag = 0x04;
    constexpr std::size_t headLength = 8;
    constexpr std::size_t classicBytes = 8;
    // Older recorders do not set the flag; their CAN FD frames have room for 64 bytes.
    const bool isFd = packet.size() >= headLength && ((packet[5] & fdFlag) != 0 || packet[4] > classicBytes ||
                                                      packet.size() == headLength + can.payload.size());
    can.channel = channel;
    return readSocketCanFrame(id, isFd, packet, can, reason);
}

/// Revision of the format, three more bytes, a byte of length, message type and checksum type, protected
/// identifier, checksum, error bits, data.
std::optional<FrameContent> PacketReader::readLin(Bytes packet) {
    constexpr std::size_t headLength = 8;
    constexpr std::size_t maxBytes = 8;
    constexpr std::uint8_t overflowBit = 0x20; // frames before this one were lost
    constexpr std::uint8_t errorBits = 0x1F;
    if (packet.size() < headLength) {
        return fail(tooShort);
    }
    if (packet[0] != 1) {
        return fail("LIN packet of an unknown revision");
    }
    const std::size_t length = packet[4] >> 4;
    const std::uint8_t errors = packet[7];
    overflows += (errors & overflowBit) != 0 ? 1 : 0;
    if ((packet[4] >> 2 & 3) != 0) { // an event, such as a wake-up
        return PassedMessage::Other;
    }
    if ((errors & errorBits) != 0) {
        return PassedMessage::Error;
    }
    if (length > maxBytes) {
        return fail("LIN frame of more than 8 bytes");
    }
    if (packet.size() < headLength + length) {
        return fail(tooLong);
    }
    const Bytes data = packet.subspan(headLength, length);
    lin.channel = channel;
    lin.protectedId = packet[5];
    lin.data.assign(data.begin(), data.end());
    return &lin;
}

/// A byte of channel and type, error bits, the five bytes of the frame's head (ISO 17458-2), data.
std::optional<FrameContent> PacketReader::readFlexRay(Bytes packet) {
    constexpr std::size_t headLength = 7;
    constexpr std::uint8_t channelB = 0x80;
    constexpr std::uint8_t frameType = 1;
    constexpr std::uint8_t errorBits = 0x1F;
    constexpr std::uint8_t notNull = 0x20; // clear: a null frame, whose data mean nothing
    if (packet.empty() || (packet[0] & 0x7F) != frameType) {
        return packet.empty() ? fail(tooShort) : PassedMessage::Other;
    }
    if (packet.size() < headLength) {
        return fail(tooShort);
    }
    if ((packet[1] & errorBits) != 0) {
        return PassedMessage::Error;
    }
    const std::size_t length = packet[4] & 0xFEU; // a number of words, times two
    if (packet.size() < headLength + length) {
        return fail(tooLong);
    }
    if ((packet[2] & notNull) == 0) {
        return PassedMessage::Other;
    }
    const Bytes data = packet.subspan(headLength, length);
    flexRay.frameKind = unknownSegment;
    flexRay.channel = static_cast<std::uint8_t>(channel + ((packet[0] & channelB) != 0 ? 1 : 0));
    flexRay.slot = bigEndian<2>(&packet[2]) & 0x7FF;
    flexRay.cycle = packet[6] & 0x3F;
    flexRay.data.assign(data.begin(), data.end());
    flexRay.payload.assign(data.begin(), data.end());
    return &flexRay;
}

} // namespace rksignal

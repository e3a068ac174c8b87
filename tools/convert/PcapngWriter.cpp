#include "convert/PcapngWriter.h"

#include <string>

namespace rksignal {
namespace {

std::uint8_t byteOf(std::uint64_t number, int index) {
    return static_cast<std::uint8_t>(number >> (8 * index));
}

/// The sum of bytes with carry, inverted: enhanced, or classic for diagnostic frames (ISO 17987-3).
std::uint8_t linChecksum(const LINTraceMessage& frame, bool isClassic) {
    unsigned sum = isClassic ? 0 : frame.protectedId;
    for (const std::uint8_t byte : frame.data) {
        sum += byte;
        sum = (sum & 0xFF) + (sum >> 8);
    }
    return static_cast<std::uint8_t>(~sum);
}

} // namespace

PcapngWriter::PcapngWriter(const OutputFile& file) : TraceWriter(file) {
    constexpr std::uint32_t sectionType = 0x0A0D0D0A;
    add(0x1A2B3C4D, 4); // the byte order
    add(1, 2);          // version 1.0
    add(0, 2);
    add(~std::uint64_t{0}, 8); // the length of the section is not known
    writeBlock(sectionType);
}

void PcapngWriter::receive(const CANExtTraceMessage& frame) {
    if (!isWellFormed(frame)) {
        ++lostShapes;
        return;
    }
    constexpr std::uint32_t extendedFlag = 0x80000000;
    constexpr std::uint8_t fdFlag = 0x04;
    const std::uint32_t id = frame.canId | (frame.isExtended() ? extendedFlag : 0);
    const std::uint8_t head[] = {byteOf(id, 3),   byteOf(id, 2),  byteOf(id, 1),
                                 byteOf(id, 0),   frame.length,   frame.isFd() ? fdFlag : std::uint8_t{0},
                                 std::uint8_t{0}, std::uint8_t{0}};
    writePacket(can, frame.channel, frame.timestamp, head, Bytes(frame.payload).first(frame.length));
}

void PcapngWriter::receive(const LINTraceMessage& frame) {
    constexpr std::size_t maxBytes = 8;
    constexpr unsigned firstDiagnosticId = 0x3C;
    if (frame.data.size() > maxBytes) {
        ++lostShapes;
        return;
    }
    const bool isClassic = (frame.protectedId & 0x3FU) >= firstDiagnosticId;
    const auto lengthAndKind = static_cast<std::uint8_t>(frame.data.size() << 4 | (isClassic ? 1 : 2));
    const std::uint8_t head[] = {1, 0, 0, 0, lengthAndKind, frame.protectedId, linChecksum(frame, isClassic),
                                 0};
    writePacket(lin, frame.channel, frame.timestamp, head, frame.data);
}

/// A frame counts words of 2 bytes.
void PcapngWriter::receive(const FlexRayExtTraceMessage& frame) {
    constexpr std::size_t maxBytes = 254;
    constexpr unsigned maxSlot = 2047;
    constexpr unsigned maxCycle = 63;
    constexpr unsigned notNull = 0x2000;
    const std::size_t length = frame.payload.size();
    if (length > maxBytes || length % 2 != 0 || frame.slot > maxSlot || frame.cycle > maxCycle) {
        ++lostShapes;
        return;
    }
    const unsigned slot = notNull | frame.slot;
    const std::uint8_t head[] = {
        1, 0, byteOf(slot, 1), byteOf(slot, 0), static_cast<std::uint8_t>(length), 0, frame.cycle};
    writePacket(flexRay, frame.channel, frame.timestamp, head, frame.payload);
}

void PcapngWriter::receive(const MIITraceMessage& frame) {
    writePacket(ethernet, frame.channel, frame.timestamp, {}, frame.frame);
}

void PcapngWriter::receive(const EthernetTraceMessage& frame) {
    if (frame.kind == EthernetTraceMessage::Frame) {
        writePacket(ethernet, frame.channel, frame.timestamp, {}, frame.frame);
    } else {
        ++lostEthernet;
    }
}

/// Its number in the file; a new one is described first.
std::uint32_t PcapngWriter::interfaceOf(const Link& link, std::uint8_t channel) {
    const auto [entry, isNew] = interfaces.try_emplace({link.type, channel}, interfaces.size());
    if (isNew) {
        constexpr std::uint32_t interfaceType = 1;
        constexpr std::uint16_t nameOption = 2;
        constexpr std::uint16_t resolutionOption = 9;
        constexpr std::uint8_t nanoseconds = 9; // as a negative power of ten
        const std::string name = std::string(link.name) + std::to_string(channel);
        add(link.type, 2);
        add(0, 2);
        add(0, 4); // packets are whole
        add(nameOption, 2);
        add(name.size(), 2);
        addPadded(Bytes(reinterpret_cast<const std::uint8_t*>(name.data()), name.size()));
        add(resolutionOption, 2);
        add(1, 2);
        add(nanoseconds, 4);
        add(0, 4); // no further options
        writeBlock(interfaceType);
    }
    return entry->second;
}

void PcapngWriter::writePacket(const Link& link, std::uint8_t channel, std::uint64_t timestamp, Bytes head,
                               Bytes data) {
    constexpr std::uint32_t enhancedPacketType = 6;
    const std::size_t length = head.size() + data.size();
    const std::uint32_t interface = interfaceOf(link, channel); // writes a block of its own
    add(interface, 4);
    add(timestamp >> 32, 4);
    add(timestamp & 0xFFFFFFFF, 4);
    add(length, 4); // recorded
    add(length, 4); // on the bus
    body.insert(body.end(), head.begin(), head.end());
    addPadded(data);
    writeBlock(enhancedPacketType);
    ++messages;
}

void PcapngWriter::add(std::uint64_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        body.push_back(byteOf(number, i));
    }
}

/// Up to a multiple of 4 bytes of the block.
void PcapngWriter::addPadded(Bytes bytes) {
    body.insert(body.end(), bytes.begin(), bytes.end());
    body.resize((body.size() + 3) / 4 * 4);
}

/// Writes the body with its type and, on both sides, the length of all that.
void PcapngWriter::writeBlock(std::uint32_t type) {
    constexpr std::size_t around = 12;
    const std::size_t length = body.size() + around;
    add(length, 4);
    std::uint8_t head[8];
    for (int i = 0; i < 4; ++i) {
        head[i] = byteOf(type, i);
        head[4 + i] = byteOf(length, i);
    }
    const auto append = [this](Bytes bytes) {
        out.append({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    };
    append(head);
    append(body);
    out.endRow();
    body.clear();
}

} // namespace rksignal

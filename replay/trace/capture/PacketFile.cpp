#include "trace/capture/PacketFile.h"

#include "rkutil/ByteOrder.h"
#include "text/Error.h"

#include <algorithm>

namespace rksignal {
namespace {

using Bytes = PacketFile::Bytes;

constexpr std::uint32_t microMagic = 0xA1B2C3D4;
constexpr std::uint32_t nanoMagic = 0xA1B23C4D;
constexpr std::uint32_t sectionType = 0x0A0D0D0A;
constexpr std::uint32_t orderMagic = 0x1A2B3C4D;
constexpr std::size_t blockHead = 8;              // type, length
constexpr std::size_t blockFrame = blockHead + 4; // and the length again
constexpr std::size_t maxBlock = std::size_t{1} << 24;
constexpr std::size_t maxRecord = std::size_t{1} << 18;
constexpr std::size_t maxInterfaces = 1024;
constexpr std::size_t maxText = 256;

std::string textOf(Bytes value) {
    const auto end = std::find(value.begin(), value.end(), 0);
    return {value.begin(), value.begin() + std::min<std::ptrdiff_t>(end - value.begin(), maxText)};
}

} // namespace

PacketFile::PacketFile(InputFile& file) : file(file), window(file) {
    readHead();
}

std::uint16_t PacketFile::word16(const std::uint8_t* at) const {
    return static_cast<std::uint16_t>(isBigEndian ? bigEndian<2>(at) : littleEndian<2>(at));
}

std::uint32_t PacketFile::word32(const std::uint8_t* at) const {
    return isBigEndian ? bigEndian<4>(at) : littleEndian<4>(at);
}

bool PacketFile::fail(std::string_view text) {
    reason = std::string(text) + " at byte " + std::to_string(window.offset());
    return false;
}

/// Magic number, version (2 + 2 bytes), 8 bytes of no use, bytes recorded of a packet, link type.
void PacketFile::readHead() {
    constexpr std::size_t headLength = 24;
    const Bytes head = window.peek(headLength);
    if (head.size() >= 4 && littleEndian<4>(head.data()) == sectionType) {
        isBlocks = true;
        return;
    }
    const std::uint32_t magic = head.size() >= 4 ? littleEndian<4>(head.data()) : 0;
    const auto isMagic = [](std::uint32_t word) { return word == microMagic || word == nanoMagic; };
    isBigEndian = !isMagic(magic);
    if (head.size() < 4 || !isMagic(word32(head.data()))) {
        throw Error(file.path() + ": not a capture file");
    }
    if (head.size() < headLength) {
        throw Error(file.path() + ": the head of the capture is cut off at byte " +
                    std::to_string(head.size()));
    }
    constexpr std::uint32_t linkTypeBits = 0x03FFFFFF; // above them the length of a checksum
    PacketInterface only;
    only.linkType = static_cast<int>(word32(&head[20]) & linkTypeBits);
    only.isBigEndian = isBigEndian;
    only.unit.resolution = word32(head.data()) == nanoMagic ? 9 : 6;
    sources.push_back(only);
    window.skip(headLength);
}

/// Seconds, fraction, bytes recorded, bytes of the packet, then what was recorded.
bool PacketFile::nextRecord() {
    constexpr std::size_t headLength = 16;
    Bytes record = window.peek(headLength);
    if (record.empty()) {
        return false;
    }
    if (record.size() < headLength) {
        return fail("the file is cut off in a packet");
    }
    const std::size_t length = word32(&record[8]);
    if (length > maxRecord) {
        return fail("a packet of " + std::to_string(length) + " bytes");
    }
    record = window.peek(headLength + length);
    if (record.size() < headLength + length) {
        return fail("the file is cut off in a packet");
    }
    const std::uint64_t perSecond = sources.front().unit.resolution == 9 ? 1'000'000'000 : 1'000'000;
    const std::uint64_t fraction = word32(&record[4]);
    const std::uint64_t ticks = word32(record.data()) * perSecond + fraction;
    time = fraction < perSecond ? nanosecondsOf(ticks, sources.front().unit) : std::nullopt;
    originalLength = word32(&record[12]);
    packet = record.subspan(headLength);
    window.skip(headLength + length);
    ++count;
    return true;
}

/// A block is its type, its length, a body in multiples of 4 bytes, and its length again.
bool PacketFile::nextOfBlocks() {
    for (;;) {
        const Bytes head = window.peek(blockFrame); // with the byte order, if it is the head of a section
        if (head.empty()) {
            return false;
        }
        if (head.size() < blockFrame) {
            return fail("the file is cut off in a block");
        }
        if (littleEndian<4>(head.data()) == sectionType && !startSection(head)) {
            return false;
        }
        const std::uint32_t type = word32(head.data());
        const std::size_t length = word32(&head[4]);
        if (length < blockFrame || length % 4 != 0 || length > maxBlock) {
            return fail("a block of " + std::to_string(length) + " bytes");
        }
        const Bytes block = window.peek(length);
        if (block.size() < length) {
            return fail("the file is cut off in a block");
        }
        const Block kind = readBlock(type, block.subspan(blockHead, length - blockFrame));
        if (kind == Block::Bad) {
            return reason.empty() ? fail("a block that is too short for its kind") : false;
        }
        window.skip(length);
        if (kind == Block::Packet) {
            ++count;
            return true;
        }
    }
}

/// Finds the byte order of the section that begins here. \return false if it has none
bool PacketFile::startSection(Bytes head) {
    isBigEndian = littleEndian<4>(&head[blockHead]) != orderMagic;
    if (word32(&head[blockHead]) != orderMagic) {
        return fail("a section of no known byte order");
    }
    sectionStart = sources.size();
    return true;
}

PacketFile::Block PacketFile::readBlock(std::uint32_t type, Bytes body) {
    constexpr std::uint32_t interfaceType = 1;
    constexpr std::uint32_t obsoletePacketType = 2;
    constexpr std::uint32_t simplePacketType = 3;
    constexpr std::uint32_t statisticsType = 5;
    constexpr std::uint32_t enhancedPacketType = 6;
    constexpr std::size_t packetHead = 20;
    switch (type) {
    case sectionType:
        return readSection(body);
    case interfaceType:
        return addInterface(body);
    case simplePacketType:
        return readSimplePacket(body);
    case statisticsType:
        return readStatistics(body);
    case obsoletePacketType:
    case enhancedPacketType:
        break;
    default:
        return Block::Other;
    }
    if (body.size() < packetHead) {
        return Block::Bad;
    }
    const std::size_t interface = type == enhancedPacketType ? word32(body.data()) : word16(body.data());
    const std::uint64_t ticks = std::uint64_t{word32(&body[4])} << 32 | word32(&body[8]);
    return readPacket(interface, ticks, body.subspan(12));
}

/// Byte order, version, length of the section (which may be unknown, and is not needed).
PacketFile::Block PacketFile::readSection(Bytes body) {
    constexpr std::size_t versionAt = 4;
    if (body.size() < versionAt + 12) {
        return Block::Bad;
    }
    const std::uint16_t version = word16(&body[versionAt]);
    if (version != 1) {
        fail("a section of version " + std::to_string(version));
        return Block::Bad;
    }
    return Block::Other;
}

/// Calls `use(code, value)` for each option: its code, its length, its value, padding.
template <class Use>
void PacketFile::forEachOption(Bytes options, Use&& use) const {
    constexpr std::size_t head = 4;
    while (options.size() >= head) {
        const std::uint16_t code = word16(options.data());
        const std::size_t length = word16(&options[2]);
        options = options.subspan(head);
        if (code == 0 || length > options.size()) {
            return;
        }
        use(code, options.first(length));
        options = options.subspan(std::min(options.size(), (length + 3) / 4 * 4));
    }
}

/// Link type, 2 bytes of no use, bytes recorded of a packet at most, options.
PacketFile::Block PacketFile::addInterface(Bytes body) {
    constexpr std::size_t headLength = 8;
    enum Option : std::uint16_t { Comment = 1, Name = 2, Description = 3, Resolution = 9, Offset = 14 };
    if (body.size() < headLength) {
        return Block::Bad;
    }
    if (sources.size() == maxInterfaces) {
        fail("more than " + std::to_string(maxInterfaces) + " interfaces");
        return Block::Bad;
    }
    PacketInterface& added = sources.emplace_back();
    added.linkType = word16(body.data());
    added.isBigEndian = isBigEndian;
    added.index = sources.size() - 1 - sectionStart;
    added.snapLength = word32(&body[4]);
    forEachOption(body.subspan(headLength), [&](std::uint16_t code, Bytes value) {
        if (code == Name) {
            added.name = textOf(value);
        } else if ((code == Comment || code == Description) && added.comment.size() < maxText) {
            added.comment += (added.comment.empty() ? "" : "; ") + textOf(value);
        } else if (code == Resolution && !value.empty()) {
            added.unit.resolution = value[0];
        } else if (code == Offset && value.size() >= 8) {
            const std::uint64_t high = word32(&value[isBigEndian ? 0 : 4]);
            added.unit.offset = static_cast<std::int64_t>(high << 32 | word32(&value[isBigEndian ? 4 : 0]));
        }
    });
    return Block::Other;
}

/// `lengths`: bytes recorded, bytes of the packet, what was recorded, options.
PacketFile::Block PacketFile::readPacket(std::size_t interface, std::uint64_t ticks, Bytes lengths) {
    constexpr std::size_t headLength = 8;
    const std::size_t recorded = word32(lengths.data());
    if (recorded > lengths.size() - headLength || interface >= sources.size() - sectionStart) {
        fail(recorded > lengths.size() - headLength ? "a packet that is longer than its block"
                                                    : "a packet of an interface that is not described");
        return Block::Bad;
    }
    source = sectionStart + interface;
    time = nanosecondsOf(ticks, sources[source].unit);
    originalLength = word32(&lengths[4]);
    packet = lengths.subspan(headLength, recorded);
    return Block::Packet;
}

/// Bytes of the packet, and what was recorded: it has no time stamp.
PacketFile::Block PacketFile::readSimplePacket(Bytes body) {
    constexpr std::size_t headLength = 4;
    if (body.size() < headLength || sources.size() == sectionStart) {
        return Block::Bad;
    }
    source = sectionStart;
    time = std::nullopt;
    originalLength = word32(body.data());
    packet = body.subspan(headLength, std::min(originalLength, body.size() - headLength));
    return Block::Packet;
}

/// Interface, time, options.
PacketFile::Block PacketFile::readStatistics(Bytes body) {
    constexpr std::size_t headLength = 12;
    constexpr std::uint16_t droppedByInterface = 5;
    if (body.size() < headLength) {
        return Block::Bad;
    }
    const std::size_t interface = word32(body.data());
    if (interface < sources.size() - sectionStart) {
        forEachOption(body.subspan(headLength), [&](std::uint16_t code, Bytes value) {
            if (code == droppedByInterface && value.size() >= 8) {
                sources[sectionStart + interface].dropped = word32(&value[isBigEndian ? 4 : 0]);
            }
        });
    }
    return Block::Other;
}

} // namespace rksignal

#include "trace/mdf/MdfFrames.h"

#include "trace/CanFrame.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::uint64_t classicBytes = 8;

void append(std::vector<std::uint8_t>& to, std::uint64_t number, unsigned bytes) {
    while (bytes > 0) {
        to.push_back(static_cast<std::uint8_t>(number >> (8 * --bytes)));
    }
}

} // namespace

std::optional<std::uint64_t> MdfFrames::announced(const MdfLayout& layout, const std::uint8_t* record) {
    if (layout[MdfMember::DataLength].exists) {
        return layout[MdfMember::DataLength].of(record);
    }
    if (layout.event == MdfEvent::CanFrame && layout[MdfMember::Dlc].exists) {
        return canLengthOfCode(layout[MdfMember::Dlc].of(record), layout[MdfMember::Edl].of(record) != 0);
    }
    if (layout.event == MdfEvent::FlexRayFrame && layout[MdfMember::PayloadLength].exists) {
        return 2 * layout[MdfMember::PayloadLength].of(record);
    }
    return std::nullopt;
}

std::optional<FrameContent> MdfFrames::fail(const char* why) {
    reason = why;
    return std::nullopt;
}

std::optional<FrameContent> MdfFrames::read(const MdfLayout& layout, const std::uint8_t* record, Bytes data) {
    if (layout.event == MdfEvent::Passed) {
        return layout.passed;
    }
    const std::uint64_t bus = layout[MdfMember::BusChannel].of(record);
    if (bus > 255) {
        return fail("channel above 255");
    }
    channel = static_cast<std::uint8_t>(bus);
    const std::uint64_t length = announced(layout, record).value_or(data.size());
    if (length > data.size()) {
        return PassedMessage::Truncated;
    }
    data = data.first(static_cast<std::size_t>(length));
    switch (layout.event) {
    case MdfEvent::CanFrame:
        return readCan(layout, record, data);
    case MdfEvent::LinFrame:
        return readLin(layout, record, data);
    case MdfEvent::FlexRayFrame:
        return readFlexRay(layout, record, data);
    default:
        return readEthernet(layout, record, data);
    }
}

/// Bit 31 of the identifier says that it has 29 bits, or a member does. Without either, its value tells.
std::optional<FrameContent> MdfFrames::readCan(const MdfLayout& layout, const std::uint8_t* record,
                                               Bytes data) {
    constexpr std::uint64_t extendedBit = 0x80000000;
    const MdfField& id = layout[MdfMember::Id];
    const MdfField& edl = layout[MdfMember::Edl];
    const std::uint64_t word = id.of(record);
    const std::uint64_t number = word & ~extendedBit;
    const bool isTold = layout[MdfMember::Ide].exists || (id.mask & extendedBit) != 0;
    const bool isExtended = (word & extendedBit) != 0 || layout[MdfMember::Ide].of(record) != 0 ||
                            (!isTold && number > greatestStandardId);
    const bool isFd = edl.of(record) != 0 || (!edl.exists && data.size() > classicBytes);
    if (number > greatestCanId(isExtended)) {
        return fail(isExtended ? "extended identifier is above 1FFFFFFF"
                               : "standard identifier is above 7FF");
    }
    if (data.size() > mostCanBytes(isFd)) {
        return fail(isFd ? "CAN FD frame of more than 64 bytes" : "classic CAN frame of more than 8 bytes");
    }
    can.channel = channel;
    can.frameFormat = (isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                      (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
    can.canId = static_cast<std::uint32_t>(number);
    can.length = static_cast<std::uint8_t>(data.size());
    std::copy(data.begin(), data.end(), can.payload.begin());
    return &can;
}

std::optional<FrameContent> MdfFrames::readLin(const MdfLayout& layout, const std::uint8_t* record,
                                               Bytes data) {
    const std::uint64_t id = layout[MdfMember::Id].of(record);
    if (id > 255 || data.size() > classicBytes) {
        return fail(id > 255 ? "LIN identifier above 255" : "LIN frame of more than 8 bytes");
    }
    lin.channel = channel;
    lin.protectedId = static_cast<std::uint8_t>(id);
    lin.data.assign(data.begin(), data.end());
    return &lin;
}

std::optional<FrameContent> MdfFrames::readFlexRay(const MdfLayout& layout, const std::uint8_t* record,
                                                   Bytes data) {
    constexpr std::uint64_t maxSlot = 2047;
    constexpr std::uint64_t maxCycle = 63;
    constexpr std::size_t maxBytes = 254;
    const std::uint64_t slot = layout[MdfMember::Id].of(record);
    const std::uint64_t cycle = layout[MdfMember::Cycle].of(record);
    if (slot > maxSlot || cycle > maxCycle || data.size() > maxBytes) {
        return fail("FlexRay frame of an impossible slot, cycle or length");
    }
    flexRay.frameKind = unknownSegment;
    flexRay.channel = static_cast<std::uint8_t>(channel + (layout[MdfMember::FlxChannel].of(record) & 1));
    flexRay.slot = static_cast<std::uint16_t>(slot);
    flexRay.cycle = static_cast<std::uint8_t>(cycle);
    flexRay.data.assign(data.begin(), data.end());
    flexRay.payload.assign(data.begin(), data.end());
    return &flexRay;
}

/// Where the addresses are members, the data bytes begin behind them.
std::optional<FrameContent> MdfFrames::readEthernet(const MdfLayout& layout, const std::uint8_t* record,
                                                    Bytes data) {
    const MdfField& destination = layout[MdfMember::Destination];
    const MdfField& source = layout[MdfMember::Source];
    const MdfField& type = layout[MdfMember::EtherType];
    ethernet.channel = channel;
    ethernet.frame.clear();
    if (destination.exists && source.exists && type.exists) {
        append(ethernet.frame, destination.of(record), 6);
        append(ethernet.frame, source.of(record), 6);
        append(ethernet.frame, type.of(record), 2);
    }
    ethernet.frame.insert(ethernet.frame.end(), data.begin(), data.end());
    return &ethernet;
}

} // namespace rksignal

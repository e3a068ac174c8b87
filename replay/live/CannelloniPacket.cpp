#include "live/CannelloniPacket.h"

#include "rkutil/ByteOrder.h"
#include "trace/CanFrame.h"

#include <algorithm>

namespace rksignal {

CannelloniPacket::CannelloniPacket(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t headLength = 5;
    constexpr std::uint8_t version = 2;
    constexpr std::uint8_t frames = 0;
    if (bytes.size() < headLength) {
        reason = "packet is shorter than its head";
    } else if (bytes[0] != version) {
        reason = "packet is not of version 2";
    } else if (bytes[1] != frames) {
        reason = "packet is not one of frames";
    } else {
        hasHead = true;
        number = bytes[2];
        left = bytes[3] * std::size_t{256} + bytes[4];
        rest = bytes.subspan(headLength);
    }
}

std::nullopt_t CannelloniPacket::fail(const char* why) {
    left = 0;
    isTold = true;
    reason = why;
    return std::nullopt;
}

std::optional<FrameContent> CannelloniPacket::next(CANExtTraceMessage& message) {
    constexpr std::uint32_t extendedFlag = 0x80000000;
    constexpr std::uint32_t remoteFlag = 0x40000000;
    constexpr std::uint32_t errorFlag = 0x20000000;
    constexpr std::uint8_t fdFlag = 0x80;
    constexpr std::size_t classicHead = 5;
    if (!hasHead) {
        return fail(reason);
    }
    const bool isFd = rest.size() >= classicHead && (rest[4] & fdFlag) != 0;
    const std::size_t headLength = classicHead + (isFd ? 1 : 0);
    if (rest.size() < headLength) {
        return fail("packet has fewer frames than it announces");
    }
    const auto id = static_cast<std::uint32_t>(bigEndian<4>(rest.data()));
    const bool isRemote = (id & remoteFlag) != 0 && !isFd;
    const std::size_t length = rest[4] & 0x7FU;
    const std::size_t dataLength = isRemote ? 0 : length;
    if (length > mostCanBytes(isFd)) {
        return fail("length of a frame is impossible");
    }
    if (dataLength > rest.size() - headLength) {
        return fail("frame is longer than its packet");
    }
    const auto data = rest.subspan(headLength, dataLength);
    rest = rest.subspan(headLength + dataLength);
    --left;
    if ((id & errorFlag) != 0) {
        return PassedMessage::Error;
    }
    if (isRemote) {
        return PassedMessage::Remote;
    }
    const bool isExtended = (id & extendedFlag) != 0;
    message.frameFormat = (isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                          (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
    message.canId = id & greatestCanId(isExtended);
    message.length = static_cast<std::uint8_t>(length);
    std::copy(data.begin(), data.end(), message.payload.begin());
    return &message;
}

} // namespace rksignal

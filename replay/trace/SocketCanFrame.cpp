#include "trace/SocketCanFrame.h"

#include "trace/CanFrame.h"

#include <algorithm>

namespace rksignal {

std::optional<FrameContent> readSocketCanFrame(std::uint32_t id, bool isFd,
                                               std::span<const std::uint8_t> bytes,
                                               CANExtTraceMessage& message, const char*& reason) {
    constexpr std::uint32_t extendedFlag = 0x80000000;
    constexpr std::uint32_t remoteFlag = 0x40000000;
    constexpr std::uint32_t errorFlag = 0x20000000;
    constexpr std::uint8_t xlFlag = 0x80; // in place of the length
    constexpr std::size_t headLength = 8;
    if (bytes.size() < headLength) {
        reason = "packet is shorter than its head";
        return std::nullopt;
    }
    const std::uint8_t length = bytes[4];
    if ((length & xlFlag) != 0) {
        return PassedMessage::Xl;
    }
    if ((id & errorFlag) != 0) {
        return PassedMessage::Error;
    }
    if ((id & remoteFlag) != 0 && !isFd) { // CAN FD has no remote frames (ISO 11898-1)
        return PassedMessage::Remote;
    }
    if (length > message.payload.size()) {
        reason = "CAN frame of more than 64 bytes";
        return std::nullopt;
    }
    if (bytes.size() < headLength + length) {
        reason = "frame is longer than its packet";
        return std::nullopt;
    }
    const bool extended = (id & extendedFlag) != 0;
    message.frameFormat = (extended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                          (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
    message.canId = id & greatestCanId(extended);
    message.length = length;
    std::copy_n(bytes.begin() + headLength, length, message.payload.begin());
    return &message;
}

} // namespace rksignal

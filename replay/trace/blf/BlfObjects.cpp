#include "trace/blf/BlfObjects.h"

#include "trace/CanFrame.h"
#include "trace/blf/BlfFormat.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace rksignal {
namespace {

constexpr const char* objectTooShort = "object is shorter than its type";
constexpr std::size_t classicBytes = 8; // of a CAN frame at most
constexpr const char* frameTooLong = "frame is longer than its object";

std::uint16_t load16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return blf::load<std::uint16_t>(bytes.data() + offset);
}

std::uint32_t load32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return blf::load<std::uint32_t>(bytes.data() + offset);
}

struct TypeName {
    std::uint32_t type;
    const char* name;
};

/// What is met beside frames.
constexpr TypeName otherTypes[] = {{3, "CAN_OVERLOAD"},
                                   {4, "CAN_STATISTIC"},
                                   {5, "APP_TRIGGER"},
                                   {6, "ENV_INTEGER"},
                                   {7, "ENV_DOUBLE"},
                                   {8, "ENV_STRING"},
                                   {9, "ENV_DATA"},
                                   {10, "LOG_CONTAINER"},
                                   {13, "LIN_DLC_INFO"},
                                   {17, "LIN_SCHED_MODCH"},
                                   {19, "LIN_BAUDRATE"},
                                   {20, "LIN_SLEEP"},
                                   {21, "LIN_WAKEUP"},
                                   {31, "CAN_DRIVER_ERROR"},
                                   {44, "CAN_DRIVER_SYNC"},
                                   {46, "GPS_EVENT"},
                                   {48, "FR_STATUS"},
                                   {49, "FR_STARTCYCLE"},
                                   {51, "REALTIMECLOCK"},
                                   {54, "LIN_STATISTIC"},
                                   {62, "LIN_WAKEUP2"},
                                   {65, "APP_TEXT"},
                                   {72, "SYS_VARIABLE"},
                                   {74, "CAN_DRIVER_ERROR_EXT"},
                                   {90, "SERIAL_EVENT"},
                                   {91, "OVERRUN_ERROR"},
                                   {92, "EVENT_COMMENT"},
                                   {93, "WLAN_FRAME"},
                                   {96, "GLOBAL_MARKER"},
                                   {103, "ETHERNET_STATUS"},
                                   {114, "ETHERNET_STATISTIC"},
                                   {121, "ETHERNET_FORWARDED"},
                                   {124, "FUNCTION_BUS"},
                                   {125, "DATA_LOST_BEGIN"},
                                   {126, "DATA_LOST_END"},
                                   {128, "TRIGGER_CONDITION"},
                                   {129, "CAN_SETTING_CHANGED"}};

bool isError(std::uint32_t type) {
    constexpr std::uint32_t errors[] = {
        blf::CanError,        blf::CanErrorExt,      blf::CanFdError64,    blf::LinCrcError,
        blf::LinReceiveError, blf::LinSendError,     blf::LinSlaveTimeout, blf::LinSyncError,
        blf::LinSendError2,   blf::LinSyncError2,    blf::LinCrcError2,    blf::LinReceiveError2,
        blf::LinSlowResponse, blf::LinSlowResponse2, blf::FlexRayError,    blf::EthernetReceiveError,
        blf::EthernetErrorEx};
    return std::find(std::begin(errors), std::end(errors), type) != std::end(errors);
}

} // namespace

/// \return null if objects of the type are only counted
BlfObjects::Read BlfObjects::readerOf(std::uint32_t type) {
    switch (type) {
    case blf::CanMessage:
    case blf::CanMessage2:
        return &BlfObjects::readCan;
    case blf::CanFdMessage:
        return &BlfObjects::readCanFd;
    case blf::CanFdMessage64:
        return &BlfObjects::readCanFd64;
    case blf::LinMessage:
        return &BlfObjects::readLin;
    case blf::LinMessage2:
        return &BlfObjects::readLin2;
    case blf::FlexRayData:
        return &BlfObjects::readFlexRayData;
    case blf::FlexRayMessage:
        return &BlfObjects::readFlexRayMessage;
    case blf::FlexRayReceived:
        return &BlfObjects::readFlexRayReceived<44>;
    case blf::FlexRayReceivedEx:
        return &BlfObjects::readFlexRayReceived<84>;
    case blf::EthernetFrame:
        return &BlfObjects::readEthernet;
    case blf::EthernetFrameEx:
        return &BlfObjects::readEthernetEx;
    default:
        return isError(type) ? &BlfObjects::readError : nullptr;
    }
}

bool BlfObjects::isFrame(std::uint32_t type) {
    return readerOf(type) != nullptr;
}

std::string BlfObjects::typeName(std::uint32_t type) {
    const auto* const known = std::find_if(std::begin(otherTypes), std::end(otherTypes),
                                           [type](const TypeName& each) { return each.type == type; });
    return known != std::end(otherTypes) ? known->name : "type " + std::to_string(type);
}

BlfObjects::Content BlfObjects::read(std::uint32_t type, Bytes object, std::size_t headLength) {
    const Read reader = readerOf(type);
    return reader != nullptr ? (this->*reader)(object, object.subspan(headLength)) : PassedMessage::Other;
}

BlfObjects::Content BlfObjects::fail(const char* why) {
    reason = why;
    return std::nullopt;
}

bool BlfObjects::takeChannel(unsigned number, std::uint8_t& channel) {
    channel = static_cast<std::uint8_t>(number);
    reason = "channel above 255";
    return number <= 255;
}

BlfObjects::Content BlfObjects::readError(Bytes /*object*/, Bytes /*body*/) {
    return PassedMessage::Error;
}

/// Identifier with the bit of extended ones. `data` is what there is of it.
BlfObjects::Content BlfObjects::takeCan(std::uint32_t id, bool isFd, std::size_t length, Bytes data) {
    constexpr std::uint32_t extendedFlag = 0x80000000;
    const bool isExtended = (id & extendedFlag) != 0;
    can.canId = id & ~extendedFlag;
    if (can.canId > greatestCanId(isExtended)) {
        return fail("identifier of more than 11 or 29 bits");
    }
    if (length > mostCanBytes(isFd)) {
        return fail("CAN frame with too many bytes");
    }
    if (length > data.size()) {
        return fail(frameTooLong);
    }
    can.frameFormat = (isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                      (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
    can.length = static_cast<std::uint8_t>(length);
    if (length <= classicBytes && data.size() >= classicBytes) { // in one step
        std::memcpy(can.payload.data(), data.data(), classicBytes);
    } else {
        std::copy_n(data.begin(), length, can.payload.begin());
    }
    return &can;
}

constexpr std::uint8_t canRemoteFlag = 0x80;

/// Channel (2), flags, length code, identifier (4), data (8).
BlfObjects::Content BlfObjects::readCan(Bytes /*object*/, Bytes body) {
    constexpr std::size_t dataAt = 8;
    if (body.size() < dataAt) {
        return fail(objectTooShort);
    }
    if (!takeChannel(load16(body, 0), can.channel)) {
        return std::nullopt;
    }
    if ((body[2] & canRemoteFlag) != 0) {
        return PassedMessage::Remote;
    }
    const std::size_t length = std::min<std::size_t>(body[3], classicBytes); // a code up to 15 means 8 bytes
    return takeCan(load32(body, 4), false, length, body.subspan(dataAt));
}

/// As above up to the identifier; 13 flags of CAN FD, 14 number of data bytes, from 20 on the data.
BlfObjects::Content BlfObjects::readCanFd(Bytes /*object*/, Bytes body) {
    constexpr std::size_t dataAt = 20;
    constexpr std::uint8_t fdFlag = 0x01;
    if (body.size() < dataAt) {
        return fail(objectTooShort);
    }
    if (!takeChannel(load16(body, 0), can.channel)) {
        return std::nullopt;
    }
    const bool isFd = (body[13] & fdFlag) != 0;
    if (!isFd && (body[2] & canRemoteFlag) != 0) {
        return PassedMessage::Remote;
    }
    return takeCan(load32(body, 4), isFd, body[14], body.subspan(dataAt));
}

/// Channel, length code, number of data bytes, one more, identifier (4); 12 flags (4), 35 where in the object
/// the data end, from 40 on the data. Zeros at their end may have been left out.
BlfObjects::Content BlfObjects::readCanFd64(Bytes object, Bytes body) {
    constexpr std::size_t dataAt = 40;
    constexpr std::uint32_t remoteFlag = 0x10;
    constexpr std::uint32_t fdFlag = 0x1000;
    if (body.size() < dataAt) {
        return fail(objectTooShort);
    }
    takeChannel(body[0], can.channel);
    const std::uint32_t flags = load32(body, 12);
    const bool isFd = (flags & fdFlag) != 0;
    if (!isFd && (flags & remoteFlag) != 0) {
        return PassedMessage::Remote;
    }
    const std::size_t headLength = object.size() - body.size();
    const std::size_t extraAt = body[35];
    const std::size_t dataEnd =
        extraAt >= headLength + dataAt && extraAt <= object.size() ? extraAt - headLength : body.size();
    std::array<std::uint8_t, 64> data{};
    std::copy_n(body.begin() + dataAt, std::min(dataEnd - dataAt, data.size()), data.begin());
    return takeCan(load32(body, 4), isFd, body[2], data);
}

BlfObjects::Content BlfObjects::takeLin(std::uint8_t id, std::size_t length, Bytes data) {
    constexpr std::size_t maxBytes = 8;
    if (length > maxBytes) {
        return fail("LIN frame of more than 8 bytes");
    }
    lin.protectedId = id;
    lin.data.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
    return &lin;
}

/// Channel (2), identifier, length, data (8).
BlfObjects::Content BlfObjects::readLin(Bytes /*object*/, Bytes body) {
    constexpr std::size_t dataAt = 4;
    if (body.size() < dataAt + 8) {
        return fail(objectTooShort);
    }
    return takeChannel(load16(body, 0), lin.channel) ? takeLin(body[2], body[3], body.subspan(dataAt))
                                                     : std::nullopt;
}

/// 12 channel (2), 37 identifier, 38 length, 112 data (8): times of all parts of the frame lie between.
BlfObjects::Content BlfObjects::readLin2(Bytes /*object*/, Bytes body) {
    constexpr std::size_t dataAt = 112;
    if (body.size() < dataAt + 8) {
        return fail(objectTooShort);
    }
    return takeChannel(load16(body, 12), lin.channel) ? takeLin(body[37], body[38], body.subspan(dataAt))
                                                      : std::nullopt;
}

BlfObjects::Content BlfObjects::takeFlexRay(unsigned slot, unsigned cycle, Bytes payload) {
    constexpr std::size_t maxBytes = 254;
    if (payload.size() > maxBytes || payload.size() % 2 != 0) {
        return fail("FlexRay frame with an impossible number of bytes");
    }
    flexRay.frameKind = unknownSegment;
    flexRay.slot = slot & 0x7FF;
    flexRay.cycle = cycle & 0x3F;
    flexRay.data.assign(payload.begin(), payload.end());
    flexRay.payload.assign(payload.begin(), payload.end());
    return &flexRay;
}

/// Channel (2), cycle, length, slot (2); from 12 on the payload.
BlfObjects::Content BlfObjects::readFlexRayData(Bytes /*object*/, Bytes body) {
    constexpr std::size_t payloadAt = 12;
    if (body.size() < payloadAt || body.size() - payloadAt < body[3]) {
        return fail(body.size() < payloadAt ? objectTooShort : frameTooLong);
    }
    return takeChannel(load16(body, 0), flexRay.channel)
               ? takeFlexRay(load16(body, 4), body[2], body.subspan(payloadAt, body[3]))
               : std::nullopt;
}

/// Channel (2); 20 slot (2), 24 state (2), 26 length, 27 cycle; from 32 on the payload.
BlfObjects::Content BlfObjects::readFlexRayMessage(Bytes /*object*/, Bytes body) {
    constexpr std::size_t payloadAt = 32;
    constexpr unsigned nullFrame = 0x08;
    if (body.size() < payloadAt || body.size() - payloadAt < body[26]) {
        return fail(body.size() < payloadAt ? objectTooShort : frameTooLong);
    }
    if (!takeChannel(load16(body, 0), flexRay.channel)) {
        return std::nullopt;
    }
    return (load16(body, 24) & nullFrame) != 0
               ? PassedMessage::Other
               : takeFlexRay(load16(body, 20), body[27], body.subspan(payloadAt, body[26]));
}

/// Channel (2), version (2), channels A and B as bits (2); 16 slot (2), 22 length of the payload (2), 24 as
/// much of it as there is (2), 26 cycle; 36 flags (4).
template <std::size_t payloadAt>
BlfObjects::Content BlfObjects::readFlexRayReceived(Bytes /*object*/, Bytes body) {
    constexpr unsigned onlyB = 2;
    constexpr std::uint32_t nullFrame = 0x01;
    constexpr std::uint32_t errorFlag = 0x40;
    if (body.size() < payloadAt) {
        return fail(objectTooShort);
    }
    const unsigned isB = load16(body, 4) == onlyB ? 1 : 0;
    if (!takeChannel(load16(body, 0) + isB, flexRay.channel)) {
        return std::nullopt;
    }
    const std::uint32_t flags = load32(body, 36);
    if ((flags & (errorFlag | nullFrame)) != 0) {
        return (flags & errorFlag) != 0 ? PassedMessage::Error : PassedMessage::Other;
    }
    const std::size_t length = load16(body, 24);
    if (length < load16(body, 22)) {
        return PassedMessage::Truncated;
    }
    return body.size() - payloadAt < length
               ? fail(frameTooLong)
               : takeFlexRay(load16(body, 16), body[26], body.subspan(payloadAt, length));
}

/// Source address (6), channel (2), destination address (6), direction (2), then as numbers: type (2), tag
/// protocol (2) and tag (2), both 0 without a tag; 22 length of the payload (2), from 32 on the payload.
BlfObjects::Content BlfObjects::readEthernet(Bytes /*object*/, Bytes body) {
    constexpr std::size_t payloadAt = 32;
    if (body.size() < payloadAt) {
        return fail(objectTooShort);
    }
    const std::size_t length = load16(body, 22);
    if (body.size() - payloadAt < length) {
        return fail(frameTooLong);
    }
    if (!takeChannel(load16(body, 6), ethernet.channel)) {
        return std::nullopt;
    }
    auto& frame = ethernet.frame;
    const auto add = [&frame](Bytes bytes) { frame.insert(frame.end(), bytes.begin(), bytes.end()); };
    const auto addNumber = [&frame, body](std::size_t at) {
        frame.push_back(body[at + 1]);
        frame.push_back(body[at]);
    };
    frame.clear();
    add(body.subspan(8, 6));
    add(body.first(6));
    if (load16(body, 18) != 0) {
        addNumber(18);
        addNumber(20);
    }
    addNumber(16);
    add(body.subspan(payloadAt, length));
    return &ethernet;
}

/// 4 channel (2), 22 length of the frame (2), from 32 on the frame.
BlfObjects::Content BlfObjects::readEthernetEx(Bytes /*object*/, Bytes body) {
    constexpr std::size_t frameAt = 32;
    if (body.size() < frameAt) {
        return fail(objectTooShort);
    }
    const std::size_t length = load16(body, 22);
    if (body.size() - frameAt < length) {
        return fail(frameTooLong);
    }
    const Bytes frame = body.subspan(frameAt, length);
    ethernet.frame.assign(frame.begin(), frame.end());
    return takeChannel(load16(body, 4), ethernet.channel) ? Content(&ethernet) : std::nullopt;
}

} // namespace rksignal

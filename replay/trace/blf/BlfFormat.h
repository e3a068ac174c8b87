/// \file
/// The binary logging format (BLF), as far as readers and writers share it. All numbers are little endian.
///
/// A file is a head and a sequence of objects. Most objects lie in others, the containers, whose content is
/// one stream of objects cut into pieces anywhere, plain or deflated (RFC 1950). The layouts are those of the
/// open readers vector_blf, python-can and Wireshark.
///
/// | offset | bytes | head of the file |
/// |---|---|---|
/// | 0 | 4 | `LOGG` |
/// | 4 | 4 | length of the head |
/// | 8 | 8 | which program wrote it, version of the format |
/// | 16 | 8 | length of the file |
/// | 24 | 8 | the same as if nothing were deflated |
/// | 32 | 8 | number of objects, number of objects read |
/// | 40 | 16 | begin of the recording, 56: its end: year, month, day of the week, day, hour, minute, second,
/// ms |
///
/// | offset | bytes | head of an object |
/// |---|---|---|
/// | 0 | 4 | `LOBJ` |
/// | 4 | 2 | length of the head, 6: its version |
/// | 8 | 4 | length of the object, head included; up to 3 bytes may follow to fill it up |
/// | 12 | 4 | type |
/// | 16 | 4 | unit of time, only here and below of objects that are no containers |
/// | 24 | 8 | time since the begin of the recording |
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace rksignal::blf {

constexpr std::string_view fileMark = "LOGG";
constexpr std::string_view objectMark = "LOBJ";

constexpr std::size_t fileHeadLength = 144; // of the files that are written today
constexpr std::size_t leastFileHead = 72;
constexpr std::size_t baseHeadLength = 16;      // of all objects
constexpr std::size_t objectHeadLength = 32;    // of version 1; version 2 has 8 more
constexpr std::size_t containerHeadLength = 16; // behind the base head: method (2), 8: length when inflated

constexpr std::uint32_t tenMicroseconds = 1; // unit of time; anything else is a nanosecond
constexpr std::uint32_t nanoseconds = 2;

constexpr std::uint16_t methodPlain = 0;
constexpr std::uint16_t methodDeflate = 2;

enum Type : std::uint32_t {
    CanMessage = 1,
    CanError = 2,
    Container = 10,
    LinMessage = 11,
    LinCrcError = 12,
    LinReceiveError = 14,
    LinSendError = 15,
    LinSlaveTimeout = 16,
    LinSyncError = 18,
    FlexRayData = 29,
    FlexRayMessage = 41,
    FlexRayError = 47,
    FlexRayReceived = 50,
    LinMessage2 = 57,
    LinSendError2 = 58,
    LinSyncError2 = 59,
    LinCrcError2 = 60,
    LinReceiveError2 = 61,
    FlexRayReceivedEx = 66,
    EthernetFrame = 71,
    CanErrorExt = 73,
    CanMessage2 = 86,
    LinSlowResponse = 88,
    CanFdMessage = 100,
    CanFdMessage64 = 101,
    EthernetReceiveError = 102,
    CanFdError64 = 104,
    LinSlowResponse2 = 105,
    EthernetFrameEx = 120,
    EthernetErrorEx = 122,
};

/// A little-endian number. REQUIRES: so many bytes may be read.
template <class Number>
Number load(const std::uint8_t* bytes) {
    Number number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

} // namespace rksignal::blf

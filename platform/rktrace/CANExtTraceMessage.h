/// \file
/// One received CAN or CAN FD frame as the logger records it.
#pragma once

#include "rkutil/Export.h"

#include <array>
#include <cstdint>
#include <iosfwd>

/// A CAN frame (ISO 11898-1) with its receive time. A plain value: copying copies the frame.
struct RK_EXPORT CANExtTraceMessage {
    /// Values of `frameFormat`.
    enum FrameFormat : std::uint32_t {
        Standard = 0,   ///< classic frame, 11-bit identifier
        Extended = 1,   ///< classic frame, 29-bit identifier
        FdStandard = 2, ///< CAN FD frame, 11-bit identifier
        FdExtended = 3, ///< CAN FD frame, 29-bit identifier
    };

    std::uint64_t timestamp = 0;            ///< receive time, nanoseconds since 1970-01-01 00:00 UTC
    std::uint8_t channel = 0;               ///< bus channel
    std::uint32_t frameFormat = Standard;   ///< one of FrameFormat
    std::uint8_t length = 0;                ///< number of valid payload bytes, 0 to 64
    std::uint32_t canId = 0;                ///< identifier without flag bits
    std::array<std::uint8_t, 64> payload{}; ///< frame data; bytes from `length` on carry no meaning

    std::uint8_t getChannel() const { return channel; }
    std::uint32_t getCanId() const { return canId; }
    /// Whether the identifier has 29 bits. A frame format that is none of FrameFormat is neither extended nor
    /// FD.
    bool isExtended() const { return frameFormat == Extended || frameFormat == FdExtended; }
    /// Whether it is a CAN FD frame.
    bool isFd() const { return frameFormat == FdStandard || frameFormat == FdExtended; }
};

/// Writes the frame on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,channel=2,frameFormat=0,length=2,canId=0x123,payload=0a ff`.
/// A length above 64 shows 64 bytes. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const CANExtTraceMessage& message);

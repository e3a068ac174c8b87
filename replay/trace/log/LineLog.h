/// \file
/// What the readers of logs in text form have in common.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "trace/CanFrame.h"

#include <cstdint>
#include <string_view>

namespace rksignal {

/// Reads the lines of a log of one format, in their order: what a header says holds for those behind it.
class LineLog {
  public:
    enum class Line : std::uint8_t {
        Nothing,   ///< a line of the header, or a remark
        Can,       ///< `can` is set
        Lin,       ///< `lin` is set
        FlexRay,   ///< `flexRay` is set
        Remote,    ///< here and below only `timestamp` is set
        Error,     ///< an error frame of any bus
        Xl,        ///< a CAN XL frame
        Other,     ///< an event of another kind
        Malformed, ///< `reason` says why
    };

    LineLog() = default;
    virtual ~LineLog() = default;
    LineLog(const LineLog&) = delete;
    LineLog& operator=(const LineLog&) = delete;

    /// Allocates only when `lin` or `flexRay` grow.
    virtual Line read(std::string_view line) = 0;

    /// What there is to say about the times of the log once it has been read; null if nothing.
    virtual const char* note() const { return nullptr; }

    CANExtTraceMessage can; ///< payload bytes from `length` on are stale
    LINTraceMessage lin;    ///< `protectedId` is as the file has it
    FlexRayExtTraceMessage flexRay;
    std::uint64_t timestamp = 0;  ///< nanoseconds since 1970-01-01 00:00 UTC
    const char* reason = nullptr; ///< a text with static lifetime

  protected:
    Line malformed(const char* why) {
        reason = why;
        return Line::Malformed;
    }

    /// Sets all of `can` but its payload, with `timestamp`. \return whether there can be such a frame
    bool setCan(std::uint8_t channel, std::uint32_t id, bool isExtended, bool isFd, std::size_t length) {
        can.timestamp = timestamp;
        can.channel = channel;
        can.canId = id;
        can.frameFormat = (isExtended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard) |
                          (isFd ? CANExtTraceMessage::FdStandard : CANExtTraceMessage::Standard);
        can.length = static_cast<std::uint8_t>(length);
        return id <= greatestCanId(isExtended) && length <= mostCanBytes(isFd);
    }

    static constexpr const char* countedFrom1970 = "the log has no date: its times count from 1970-01-01";
};

} // namespace rksignal

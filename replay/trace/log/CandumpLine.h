/// \file
/// Reads one line of a candump log, the text format that `candump -l` and `candump -L` of can-utils write.
///
///     (1626905042.645596) can1 0CF00400#507D8DD11200F48E       classic data frame, extended identifier
///     (1626905042.645596) can1 123#1122334455667788_9          length code above 8 in a frame of 8 bytes
///     (1626905042.645596) can1 123#R8                          remote frame
///     (1626905042.645596) can1 123##51122                      CAN FD data frame, flags 5
///     (1626905042.645596) can1 20000004#0004000000000000       error frame
///     (1626905042.645596) can1 00123#81:00:12345678#11223344   CAN XL data frame
///     DROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 8)
///
/// The name may be padded with blanks, and ` T` or ` R` behind a frame says whether it was sent or received.
#pragma once

#include "trace/MessageSink.h"

#include <cstdint>
#include <string_view>

namespace rksignal {

struct CandumpLine {
    enum class Kind {
        Data,      ///< classic or CAN FD data frame, complete in `frame`
        Remote,    ///< remote frame: `frame.length` is the length asked for, there is no data
        Error,     ///< error frame: the identifier holds the error class
        Xl,        ///< CAN XL data frame; only `frame.timestamp` is set
        DropCount, ///< the recorder lost `dropped` frames; `frame` is not set
    };
    enum class Direction { Unknown, Received, Sent };

    Kind kind = Kind::Data;
    Direction direction = Direction::Unknown;
    std::string_view interfaceName; ///< lies in the line; empty for DropCount
    CANExtTraceMessage frame;       ///< `channel` is left alone; payload bytes from `length` on are stale
    std::uint8_t fdFlags = 0;       ///< of a CAN FD frame: 1 bit rate switch, 2 error state, 4 FD format
    std::uint8_t lengthCode = 0;    ///< 9 to 15 when the frame was sent with that code, else 0
    std::uint64_t dropped = 0;
};

/// Reads `line`, given without its line end, into `result`. Reuse one `result` for all lines.
/// Time stamps are exact: 1 to 9 decimals, in nanoseconds since 1970-01-01 UTC. Never allocates.
/// \return null, or why the line is not a candump line (a text with static lifetime); `result` is then
///         unspecified
const char* parseCandumpLine(std::string_view line, CandumpLine& result);

/// Hands over what was read, with `time` for its time stamp. REQUIRES: it is no DropCount
void deliverLine(CandumpLine& line, MessageSink& sink, std::uint64_t time);

} // namespace rksignal

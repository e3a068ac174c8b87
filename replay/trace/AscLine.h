/// \file
/// Reads the lines of an ASC log, a widespread text format for the traffic of several buses.
///
///     date Mon May 18 10:00:00.000 2026
///     base hex  timestamps absolute
///        0.003000 1  200             Rx   d 8 02 10 81 00 00 00 00 00     CAN channel 1, identifier 200
///        0.003500 1  18FEF100x       Rx   d 2 02 10                       extended identifier
///        0.004000 Li 3c Tx 8 01 02 03 04 05 06 07 08 checksum = ab        LIN channel 1
///        0.006000 L2 20 Rx 2 aa bb                                        LIN channel 2
///
///     Begin Triggerblock Mon May 18 10:00:02.000 2026
///
/// Time stamps are seconds since the date of the trigger block, without one that of the log, or, when they
/// are relative, since the line before.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/LINTraceMessage.h"

#include <cstdint>
#include <string_view>

namespace rksignal {

/// Reads lines in their order: what the header says holds for those behind it. The date is taken for UTC.
/// Channels keep their number; `Li` is 1.
class AscLineReader {
  public:
    enum class Result {
        Nothing,   ///< a line of the header, or a remark
        Can,       ///< `can` is set
        Lin,       ///< `lin` is set
        Remote,    ///< here and below only `timestamp` is set
        Error,     ///< an error frame, or an error on LIN
        Other,     ///< an event of another kind
        Malformed, ///< `reason` says why
    };

    /// Allocates only when `lin` grows for the first time.
    Result read(std::string_view line);

    CANExtTraceMessage can;      ///< payload bytes from `length` on are stale
    LINTraceMessage lin;         ///< `protectedId` is as the file has it
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 00:00 UTC
    const char* reason = nullptr;

  private:
    class Words;

    Result malformed(const char* why);
    Result readDate(Words words);
    Result readBlock(Words words);
    Result readBase(Words words);
    Result readEvent(std::uint64_t time, Words words);
    Result readCan(std::uint8_t channel, Words words);
    Result readLin(std::uint8_t channel, Words words);

    std::uint64_t start = 0; ///< of the recording
    int base = 16;
    bool isRelative = false;
};

} // namespace rksignal

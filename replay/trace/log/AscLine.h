/// \file
/// Reads the lines of an ASC log, a widespread text format for the traffic of several buses.
///
///     date Mon May 18 10:00:00.000 2026
///     base hex  timestamps absolute
///        0.003000 1  200             Rx   d 8 02 10 81 00 00 00 00 00     CAN channel 1, identifier 200
///        0.003500 1  18FEF100x       Rx   d 2 02 10                       extended identifier
///        0.003600 1  200             Rx   r                               remote frame
///        0.003700 1  ErrorFrame
///        0.003800 CANFD 1 Rx 300  1 0 9 12 01 02 ... 0c 102203 133 303000 e0006659
///        0.004000 Li 3c Tx 8 01 02 03 04 05 06 07 08 checksum = ab        LIN channel 1
///        0.006000 L2 20 Rx 2 aa bb                                        LIN channel 2
///        0.007000 Fr RMSG 0 12 1 1 d2 1d Tx 0 304802 5 20 440 x 2 2 02 df 0 0 0
///
///     Begin Triggerblock Mon May 18 10:00:02.000 2026
///
/// Time stamps are seconds since the date of the trigger block, without one that of the log, or, when they
/// are relative, since the line before.
///
/// Behind the identifier of a CAN FD frame there may be its name, then come the bits BRS and ESI, the length
/// code, the length in bytes, the bytes, the frame's duration and number of bits, and its flags. Those of a
/// FlexRay frame are the cluster, the channels (1 is A, 2 is B, 3 both), slot and cycle, direction, and
/// behind the name the length of the payload, that of the buffer, and the bytes.
#pragma once

#include "trace/log/LineLog.h"
#include "trace/log/LineWords.h"

namespace rksignal {

/// Dates are read as parseDate() does. Channels keep their number; `Li` is 1. A FlexRay cluster is the
/// channel of its frames on A and on both, the next one that of frames on B.
class AscLog : public LineLog {
  public:
    Line read(std::string_view line) override;
    const char* note() const override { return hasDate ? nullptr : countedFrom1970; }

  private:
    Line readHeader(std::string_view first, LineWords words);
    Line readDate(std::string_view text);
    Line readBlock(LineWords words);
    Line readBase(LineWords words);
    Line readEvent(std::uint64_t time, LineWords words);
    Line readCan(std::uint8_t channel, LineWords words);
    Line readCanFd(LineWords words);
    Line readLin(std::uint8_t channel, LineWords words);
    Line readFlexRay(LineWords words);

    std::uint64_t start = 0; ///< of the recording
    bool hasDate = false;
    int base = 16;
    bool isRelative = false;
};

} // namespace rksignal

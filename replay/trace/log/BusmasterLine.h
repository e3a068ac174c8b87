/// \file
/// Reads the lines of a CAN log of BUSMASTER.
///
///     ***BUSMASTER Ver 2.4.0***
///     ***PROTOCOL CAN***
///     ***START DATE AND TIME 23:9:2015 22:17:28:928***
///     ***HEX***
///     ***SYSTEM MODE***
///     22:20:14:9920 Rx 1 0x21A s 8 FE 36 12 FE 69 05 07 AD
///
/// The type of a frame is `s` or `x` (29-bit identifier), with `r` for remote frames. Times are those of the
/// day (SYSTEM MODE), since the start (ABSOLUTE MODE) or since the line before (RELATIVE MODE).
#pragma once

#include "trace/log/LineLog.h"
#include "trace/log/LineWords.h"

namespace rksignal {

/// Dates are taken for UTC. A frame of more than 8 bytes is a CAN FD frame.
class BusmasterLog : public LineLog {
  public:
    /// What the first line begins with.
    static constexpr std::string_view header = "***BUSMASTER ";

    Line read(std::string_view line) override;
    const char* note() const override { return hasDate ? nullptr : countedFrom1970; }

  private:
    enum class Mode : std::uint8_t { System, Absolute, Relative };

    Line readHeader(std::string_view text);
    Line readStart(std::string_view date);
    bool setTime(std::uint64_t clock);

    Mode mode = Mode::System;
    int base = 16;
    bool isCan = true;
    bool hasDate = false;
    std::uint64_t start = 0; ///< of the session
};

} // namespace rksignal

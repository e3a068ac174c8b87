/// \file
/// Reads the lines of a CSV log of GVRET recorders and of SavvyCAN.
///
///     Time Stamp,ID,Extended,Dir,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8
///     22213513,00000111,false,Rx,0,3,00,01,02,
///
/// Time stamps are microseconds since the recorder was switched on, identifiers and bytes are hexadecimal.
/// Logs of older programs have no column Dir. A frame of more than 8 bytes is a CAN FD frame.
#pragma once

#include "trace/log/LineLog.h"

namespace rksignal {

/// Times count from 1970-01-01, as there is no date; negative ones are 0.
class GvretLog : public LineLog {
  public:
    /// What the first line begins with.
    static constexpr std::string_view header = "Time Stamp,ID,Extended,";

    Line read(std::string_view line) override;
    const char* note() const override {
        return hasNegativeTimes
                   ? "the log has no date: its times count from 1970-01-01, negative ones count as that"
                   : countedFrom1970;
    }

  private:
    bool hasDirection = true;
    bool hasNegativeTimes = false; ///< the recorder's clock was set back
};

} // namespace rksignal

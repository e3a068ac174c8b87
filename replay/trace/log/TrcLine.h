/// \file
/// Reads the lines of a TRC log, the text format of PEAK-System's programs (PEAK CAN TRC File Format,
/// versions 1.0 to 2.1).
///
///     ;$FILEVERSION=2.1
///     ;$STARTTIME=44548.6028595139                days since 1899-12-30
///     ;$COLUMNS=N,O,T,B,I,d,R,L,D
///          1     17535.400 DT 1  00000100 Tx -  8    00 00 00 00 00 00 00 00
///
/// Version 1.0 has neither of the first two lines; its first line with a number ends that with `)`, as in all
/// versions 1: `     1)      1841      0001 8 00 00 00 00 00 00 00 00`.
#pragma once

#include "trace/log/LineLog.h"
#include "trace/log/LineWords.h"

#include <array>

namespace rksignal {

/// Times count from $STARTTIME, else from the line `Start time: 11.09.2002 16:00:20.682`; both are taken for
/// UTC. Frames without a bus are of channel 1.
class TrcLog : public LineLog {
  public:
    Line read(std::string_view line) override;
    const char* note() const override { return hasDate ? nullptr : countedFrom1970; }

  private:
    /// A frame as its columns tell it.
    struct Frame {
        Line kind = Line::Can;
        bool isFd = false;
        std::uint8_t channel = 1;
        std::string_view identifier = {};
        std::size_t length = 0; ///< in bytes, or a code
        bool isLengthCode = false;
    };

    Line readHeader(std::string_view line);
    Line readVersion(std::string_view version);
    Line readStartTime(std::string_view days);
    Line readColumns(std::string_view names);
    Line readFrame(const Frame& frame, LineWords data);
    bool readColumn(char column, std::string_view word, Frame& frame);

    std::array<char, 16> columns{'N', 'O', 'I', 'L', 'D'}; ///< letters as of $COLUMNS, up to a 0
    std::uint64_t start = 0;
    bool hasDate = false;
};

} // namespace rksignal

/// \file
/// Reads the lines that candump of can-utils shows on the screen.
///
///     can0  123   [8]  11 22 33 44 55 66 77 88
///     (1626905042.645596)  can0  0CF00400   [3]  50 7D 8D   '.}.'        -ta, -a
///     (2021-07-21 22:04:02.645596)  can0  123  [08]  11 22 33 44 55 66 77 88     -tA, a CAN FD frame
///     (000.000511)  can0  RX - -  123   [2]  remote request              -td or -tz, -x
///     can0  20000004   [8]  00 04 00 00 00 00 00 00   ERRORFRAME
///             controller-problem{rx-overflow}                            -e
#pragma once

#include "file/InputFile.h"
#include "trace/log/CandumpLine.h"
#include "trace/log/LineWords.h"

#include <cstdint>
#include <string_view>

namespace rksignal {

/// Reads lines in their order. Dates are taken for UTC. Times without a date count from 1970-01-01; a frame
/// without a time has the one before.
class CandumpScreen {
  public:
    CandumpScreen() = default;
    /// Finds out from the first lines what short times mean: those of `-td` count from the line before, and
    /// sooner or later one is smaller than the one before. Those of `-tz`, which are taken for granted
    /// without a file, count from the first line. Waits for more of `file` only where times are short.
    explicit CandumpScreen(InputFile& file);

    /// Whether this may be such a line.
    static bool isLine(std::string_view line) {
        return line.find(" [") != line.npos || line.find("}[") != line.npos;
    }
    /// Whether the line explains an error frame.
    static bool isExplanation(std::string_view line) { return line.starts_with('\t'); }

    /// Reads `line` into `result`, as parseCandumpLine() does.
    const char* read(std::string_view line, CandumpLine& result);

    /// What there is to say about the times that were read; null if nothing.
    const char* note() const;

  private:
    const char* readTime(std::string_view& line);
    const char* readFrame(std::string_view identifier, LineWords words, CandumpLine& result);

    bool isDelta = false;
    bool wasShort = false;
    bool wasAbsent = false;
    std::uint64_t time = 0;
};

} // namespace rksignal

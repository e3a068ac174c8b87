/// \file
/// Writes frames as `candump -l` does.
#pragma once

#include "Frame.h"

#include <ostream>
#include <string>

namespace drive {

/// Collects lines like `(1700000000.000222) can0 0C9#0000000000000000` and writes them in large pieces.
class CandumpLog {
  public:
    explicit CandumpLog(std::ostream& out) : out(out) {}
    ~CandumpLog() { flush(); }
    CandumpLog(const CandumpLog&) = delete;
    CandumpLog& operator=(const CandumpLog&) = delete;

    void write(const Frame& frame);
    void flush();

  private:
    std::ostream& out;
    std::string text;
};

} // namespace drive

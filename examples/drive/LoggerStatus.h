/// \file
/// What the logger says about itself.
#pragma once

#include "Recorder.h"
#include "Timer.h"

#include <cstdint>

namespace drive {

/// Reports its start and every second of its running. Its internal memory fills up in the course of minutes;
/// it warns when there is little room left, and moves the content to an external memory when there is none.
class LoggerStatus {
  public:
    explicit LoggerStatus(std::uint64_t start) : start(start) {}

    void observe(std::uint64_t now, Recorder& recorder);

  private:
    std::uint64_t start;
    Timer second{1000};
    int status = -1; // as last reported
};

} // namespace drive

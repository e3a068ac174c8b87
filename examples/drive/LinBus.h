/// \file
/// The car's LIN bus: what its small sensors and switches answer.
#pragma once

#include "Recorder.h"
#include "Timer.h"
#include "VehicleModel.h"

#include <cstddef>
#include <cstdint>

namespace drive {

/// Works through its schedule, slot by slot. As in Sender.h, logger.json describes the frames a second time.
class LinBus {
  public:
    /// `now` is the time of `car`, in microseconds since 1970-01-01 UTC, here and below.
    void observe(const VehicleState& car, std::uint64_t now, Recorder& recorder);

  private:
    Timer slot{20};
    std::size_t slots = 0; // so far
};

} // namespace drive

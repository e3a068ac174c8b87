/// \file
/// The car's FlexRay bus: what the control unit of the chassis sends.
#pragma once

#include "Recorder.h"
#include "Timer.h"
#include "VehicleModel.h"

#include <cstdint>

namespace drive {

/// Sends a static frame in every communication cycle, and a dynamic one in some. As in Sender.h, logger.json
/// describes the frames a second time.
class FlexRayBus {
  public:
    void observe(const VehicleState& car, std::uint64_t now, Recorder& recorder);

  private:
    Timer cycleStart{10};
    std::uint64_t cycles = 0; // so far
};

} // namespace drive

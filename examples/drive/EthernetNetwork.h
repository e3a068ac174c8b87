/// \file
/// The car's Ethernet: what its camera, gateway and battery send to the head unit.
#pragma once

#include "Timer.h"
#include "VehicleModel.h"

#include "rktrace/MIITraceMessage.h"

#include <cstdint>
#include <vector>

namespace drive {

/// Sends a UDP datagram of every kind that can carry signals. As in Sender.h, logger.json describes them a
/// second time.
class EthernetNetwork {
  public:
    /// \return the frames since the last call, in the order of time; none is as late as the next call
    std::vector<MIITraceMessage> observe(const VehicleState& car, std::uint64_t now);

  private:
    static constexpr unsigned tickMilliseconds = 10;

    Timer tick{tickMilliseconds};
    std::uint64_t ticks = 0; // so far
};

} // namespace drive

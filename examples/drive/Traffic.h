/// \file
/// The car's two buses: all its frames in the order in which they are received.
#pragma once

#include "Sender.h"
#include "VehicleModel.h"

#include <cstdint>
#include <span>
#include <vector>

namespace drive {

/// Lets the car drive and its control units send. Holds one tick's frames at a time.
class Traffic {
  public:
    /// The drive begins at `start`, in microseconds since 1970-01-01 UTC. `load`, 1 to 100, multiplies the
    /// number of frames sent in a second, and with it the speed of the buses.
    Traffic(std::uint64_t seed, std::uint64_t start, unsigned load) : car(seed), start(start), load(load) {}

    /// Goes on by one tick of 10 / `load` ms. \return its frames, good until the next call
    std::span<const Frame> next();
    /// The car at the end of the last tick.
    const VehicleState& vehicle() const { return car.now(); }
    /// When the next tick begins, in microseconds since 1970-01-01 UTC. No frame of it is received earlier.
    std::uint64_t time() const { return start + tick * tickMilliseconds * 1000 / load; }

  private:
    static constexpr unsigned tickMilliseconds = 10;

    struct Bus {
        std::uint8_t number;
        std::span<const Sender> senders;
        std::vector<std::uint64_t> sent; // frames of each sender so far
    };

    void sendAll(Bus& bus, std::uint64_t tickStart);

    VehicleModel car;
    std::uint64_t start;
    unsigned load;
    std::uint64_t tick = 0;
    Bus powertrain{0, powertrainSenders(), std::vector<std::uint64_t>(powertrainSenders().size())};
    Bus body{1, bodySenders(), std::vector<std::uint64_t>(bodySenders().size())};
    std::vector<Frame> frames;
};

} // namespace drive

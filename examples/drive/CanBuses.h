/// \file
/// The two CAN buses of the demo's car: all frames of its control units in the order in which they are
/// received.
#pragma once

#include "Bytes.h"
#include "Car.h"

#include <cstdint>
#include <span>
#include <vector>

namespace drive {

enum class FrameKind : std::uint8_t { Data, FdData, Remote, Error, NotSent };

struct Frame : Payload {
    std::uint64_t microseconds = 0; ///< since 1970-01-01 UTC
    std::uint8_t bus = 0;           ///< 0 powertrain, described by drive.dbc; 1 body, described by body.dbc
    FrameKind kind = FrameKind::Data;
    bool extended = false; ///< 29-bit identifier
    std::uint32_t id = 0;
};

/// A control unit's frame that is sent periodically.
struct Sender;

/// Lets the car drive and its control units send. Holds one tick's frames at a time.
class Traffic {
  public:
    /// The drive begins at `start`, in microseconds since 1970-01-01 UTC. `load`, 1 to 100, multiplies the
    /// number of frames sent in a second, and with it the speed of the buses.
    Traffic(std::uint64_t seed, std::uint64_t start, unsigned load);

    /// Goes on by one tick of 10 / `load` ms. \return its frames, good until the next call
    std::span<const Frame> next();
    /// The car at the end of the last tick.
    const Car& car() const { return model.car; }
    /// When the next tick begins, in microseconds since 1970-01-01 UTC. No frame of it is received earlier.
    std::uint64_t time() const { return start + tick * 10000 / load; }

  private:
    struct Bus {
        std::uint8_t number;
        std::span<const Sender> senders;
        std::vector<std::uint64_t> sent; // frames of each sender so far
    };

    void sendAll(Bus& bus, std::uint64_t tickStart);

    VehicleModel model;
    std::uint64_t start;
    unsigned load;
    std::uint64_t tick = 0;
    std::vector<Bus> buses;
    std::vector<Frame> frames;
};

} // namespace drive

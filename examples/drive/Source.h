/// \file
/// Everything that a logger in the demo's car hears.
#pragma once

#include "Output.h"
#include "Signals.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace drive {

/// What a source sees of a step of the simulation. Times are in microseconds since 1970-01-01 UTC.
struct Tick {
    std::uint64_t number; ///< from 0 on
    std::uint64_t now;    ///< when it began
    const Car& car;       ///< at its end
    const Signals& signals;
    Output& output;
};

/// A bus, an input or a device that sends messages to the output: at once, and then once a period.
class Source {
  public:
    explicit Source(unsigned milliseconds) : period(std::uint64_t{1000} * milliseconds) {}
    virtual ~Source() = default;

    /// To be called for every tick.
    void observe(const Tick& tick) {
        if (tick.now >= next) {
            next = (next == 0 ? tick.now : next) + period;
            send(tick);
        }
    }

  private:
    virtual void send(const Tick& tick) = 0;

    std::uint64_t period, next = 0;
};

using Sources = std::vector<std::unique_ptr<Source>>;

/// Both CAN buses. `load` is how much faster than usual they are; `noise` makes frames a little late.
std::unique_ptr<Source> canBuses(const Signals& signals, Noise& noise, unsigned load);
/// LIN for small sensors, FlexRay for the chassis, Ethernet for what goes to the head unit.
void addOtherBuses(Sources& sources, const Signals& signals);
/// What is wired to the logger itself, its remote control and its status. The drive begins at `start`.
void addLogger(Sources& sources, std::uint64_t seed, std::uint64_t start);
std::unique_ptr<Source> gpsReceiver(std::uint64_t seed);

} // namespace drive

/// \file
/// A GPS receiver in the car, which speaks NMEA 0183.
#pragma once

#include "Noise.h"
#include "Timer.h"
#include "VehicleModel.h"

#include "rktrace/GPSTraceMessage.h"

#include <cstdint>
#include <optional>

namespace drive {

/// Says five times a second where the car is, in an RMC and a GGA sentence. It finds its first satellites in
/// a few seconds, and loses all of them in a tunnel; until it sees four, its sentences are void.
class GpsReceiver {
  public:
    explicit GpsReceiver(std::uint64_t seed) : noise(seed) {}

    /// What it says now, if anything, with the time at which it has said it.
    std::optional<GPSTraceMessage> observe(const VehicleState& car, std::uint64_t now);

  private:
    void seeSatellites(bool inTunnel);
    void move(const VehicleState& car);

    static constexpr unsigned interval = 200; // ms

    Timer fix{interval};
    Noise noise;
    double satellites = 0;
    double errorEast = 0, errorNorth = 0; // m
    double speed = 0, course = 0;         // m/s and degrees from north, over ground
};

} // namespace drive

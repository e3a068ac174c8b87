/// \file
/// The simulated car of the demo's drive: a longitudinal model with an automatic gearbox, and just enough of
/// everything else that a bus reports.
///
/// Only operations that IEEE 754 rounds exactly are used (no sines, no exponentials, a random generator
/// that the standard defines), so that a seed gives the same drive on every platform.
#pragma once

#include "DriveCycle.h"
#include "Noise.h"

#include <array>
#include <cstdint>

namespace drive {

enum class EngineState : std::uint8_t { Off, Cranking, Idling, Pulling, Overrun };

/// Something that the radar sees.
struct RadarObject {
    double distance = 0; ///< m
    double speed = 0;    ///< m/s relative to the car, negative while it comes nearer
    double azimuth = 0;  ///< degrees, positive to the left
    double age = 0;      ///< s
    bool present = false;
};

/// The car at one moment. Physical units as noted; speeds are never negative, `direction` says which way.
struct VehicleState {
    double time = 0;                            ///< s since the start of the drive
    Phase driver{};                             ///< what the driver wants
    double speed = 0;                           ///< m/s
    double direction = 1;                       ///< 1 forwards, -1 backwards
    double acceleration = 0;                    ///< of `speed`, m/s^2
    double odometer = 48213.4e3;                ///< m
    std::array<double, 4> wheelSpeed{};         ///< m/s: front left, front right, rear left, rear right
    double brakePressure = 0;                   ///< bar
    double steeringWheel = 0, steeringRate = 0; ///< degrees, degrees/s, positive to the left
    double yawRate = 0;                         ///< degrees/s, positive to the left
    double lateralAcceleration = 0;             ///< m/s^2, positive to the left
    double east = 0, north = 0;                 ///< m from where the drive began
    double heading = 36.86989764584402;         ///< degrees clockwise from north
    double eastward = 0.6, northward = 0.8;     ///< the heading as a vector of length 1

    EngineState engine = EngineState::Off;
    double engineSpeed = 0;  ///< rpm
    double engineTorque = 0; ///< Nm
    double throttle = 0;     ///< %
    int gear = 0;            ///< -1 reverse, 0 neutral, 1 to 6
    double gearRatio = 0;    ///< of the gear alone; 0 in neutral
    double outputSpeed = 0;  ///< rpm behind the gearbox
    bool converterLocked = false, shifting = false;

    double air = 12, coolant = 12, oil = 12, gearOil = 12, cabin = 12, tyre = 12; ///< degrees Celsius
    double fuel = 41, fuelRate = 0, fuelConsumed = 0;                             ///< l, l/h, l
    double voltage = 12.5, current = 0;                                           ///< V, A from the battery
    double operatingHours = 1204.3;                                               ///< h
    unsigned starts = 3127;                                                       ///< of the engine
    bool locked = false;                                                          ///< the doors
    double seatPosition = 210, backrest = -6; ///< mm from the front; degrees, leaned back
    bool lampsFlash = false;                  ///< the indicators are in their bright half
    std::array<RadarObject, 2> objects;
};

/// Moves the car through the drive cycle.
class VehicleModel {
  public:
    explicit VehicleModel(std::uint64_t seed) : random(seed) {}

    /// Goes on by `dt` seconds, at most 0.02.
    void step(double dt);
    const VehicleState& now() const { return state; }
    /// Evenly distributed in [-1, 1).
    double noise() { return random(); }

  private:
    void accelerate(double dt);
    void selectGear(double dt);
    void turnEngine(double dt);
    void pull();
    void burnFuel(double dt);
    void warmUp(double dt);
    void steer(double dt);
    void travel(double dt);
    void turnWheels();
    void supply(double dt);
    void seeOthers(double dt);
    void adjustSeat(double dt);

    VehicleState state;
    DriveCycle cycle;
    Noise random;
    double sinceShift = 0;  // s
    double pauseOfRoad = 4; // s until the next car comes the other way
};

} // namespace drive

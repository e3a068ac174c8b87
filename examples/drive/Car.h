/// \file
/// The simulated car of the demo's drive: what the driver does, a longitudinal model with an automatic
/// gearbox, and just enough of everything else that a bus reports.
///
/// Only operations that IEEE 754 rounds exactly are used (no sines, no exponentials, a random generator that
/// the standard defines), so that a seed gives the same drive on every platform.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>

namespace drive {

/// Numbers evenly distributed in [-1, 1), the same on every platform.
class Noise {
  public:
    explicit Noise(std::uint64_t seed) : random(seed) {}
    double operator()() { return static_cast<double>(random() >> 11) * 0x1p-52 - 1.0; }

  private:
    std::mt19937_64 random;
};

/// One step of a first-order lag.
inline void approach(double& value, double target, double dt, double timeConstant) {
    value += (target - value) * std::min(1.0, dt / timeConstant);
}

/// A step that is as long as needed, but no longer than `greatestStep`.
inline void approachAtRate(double& value, double target, double greatestStep) {
    value += std::clamp(target - value, -greatestStep, greatestStep);
}

enum class Ignition : std::uint8_t { Off, On, Crank };
enum class Lever : std::uint8_t { Park, Reverse, Neutral, Drive };
enum class Turn : std::uint8_t { Off, Left, Right };
enum class WindowSwitch : std::uint8_t { None, Up, UpAutomatic, Down, DownAutomatic };
enum class EngineState : std::uint8_t { Off, Cranking, Idling, Pulling, Overrun };

/// One stretch of the drive, in which the driver wants the same all the time and the road stays the same.
struct Phase {
    double seconds;
    double speed;         ///< km/h that the driver aims at, forwards or backwards as the lever says
    double steeringWheel; ///< degrees, positive to the left
    Ignition ignition;
    Lever lever;
    Turn turn = Turn::Off;
    bool driverDoorOpen = false;
    bool highBeam = false;
    WindowSwitch window = WindowSwitch::None; ///< of the driver's door
    unsigned rain = 0;                        ///< 0 dry to 3 heavy
    bool tunnel = false;
};

/// Something that the radar sees.
struct RadarObject {
    double distance = 0; ///< m
    double speed = 0;    ///< m/s relative to the car, negative while it comes nearer
    double azimuth = 0;  ///< degrees, positive to the left
    double age = 0;      ///< s
    bool present = false;
};

/// The car at one moment. Physical units as noted; speeds are never negative, `direction` says which way.
struct Car {
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

    bool isOn() const { return driver.ignition != Ignition::Off; }
};

/// Moves the car through a script of five minutes, out of a parking place, through a town and over a country
/// road to the next parking place; then it begins anew.
class VehicleModel {
  public:
    explicit VehicleModel(std::uint64_t seed) : noise(seed) {}

    /// Goes on by `dt` seconds, at most 0.02.
    void step(double dt);

    Car car;
    Noise noise;

  private:
    void followScript(double dt);
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

    std::size_t phase = 0;
    double inPhase = 0;     // s
    double sinceShift = 0;  // s
    double pauseOfRoad = 4; // s until the next car comes the other way
};

} // namespace drive

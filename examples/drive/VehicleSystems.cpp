// What follows from the movement: fuel, heat, steering, wheels, electric supply, and the cars around.

#include "Motion.h"
#include "VehicleModel.h"

#include <algorithm>
#include <cmath>

namespace drive {

namespace {

constexpr double tank = 52;            // l
constexpr double wheelBase = 2.65;     // m
constexpr double track = 1.54;         // m
constexpr double steeringRatio = 15.5; // steering wheel to front wheels

/// 1/m, positive to the left. The angle of the front wheels is small enough to stand for its tangent.
double curvature(double steeringWheel) {
    return steeringWheel / steeringRatio * pi / 180 / wheelBase;
}

} // namespace

void VehicleModel::burnFuel(double dt) {
    const bool burning = state.engine == EngineState::Idling || state.engine == EngineState::Pulling;
    const double kilowatts = std::max(0.0, state.engineTorque) * state.engineSpeed * (2 * pi / 60) / 1000;
    state.fuelRate = burning ? 0.0006 * state.engineSpeed + 0.336 * kilowatts : 0;
    const double litres = state.fuelRate * dt / 3600;
    state.fuel -= litres;
    state.fuelConsumed += litres;
    if (state.fuel < 5 && state.driver.driverDoorOpen) {
        state.fuel = tank; // a filling station
    }
    if (state.engineSpeed > 400) {
        state.operatingHours += dt / 3600;
    }
}

void VehicleModel::warmUp(double dt) {
    const bool burning = state.fuelRate > 0;
    const double heating = burning ? 0.10 + 0.03 * state.fuelRate : 0;
    const double cooling = 0.0003 * (state.coolant - state.air) + 0.05 * std::max(0.0, state.coolant - 88);
    state.coolant += (heating - cooling) * dt;
    approach(state.oil, state.coolant + (burning ? 6 : 0), dt, 90);
    approach(state.gearOil, 0.9 * state.coolant, dt, 150);
    approach(state.cabin, std::min(21.5, state.coolant), dt, 120);
    approach(state.tyre, state.air + 0.6 * state.speed, dt, 300);
}

void VehicleModel::steer(double dt) {
    const double before = state.steeringWheel;
    const double held = state.speed > 0 ? 0.3 * noise() : 0; // nobody holds it quite still
    approachAtRate(state.steeringWheel, state.driver.steeringWheel + held, 160 * dt);
    approach(state.steeringRate, (state.steeringWheel - before) / dt, dt, 0.05);
    const double turned = curvature(state.steeringWheel) * state.speed; // rad/s
    state.yawRate = state.direction * turned * 180 / pi;
    state.lateralAcceleration = state.speed * turned;
}

/// Turns the heading and moves on along it. The vector is turned by the half angle's tangent, of which the
/// angle itself is a good approximation in so short a time: its length stays 1.
void VehicleModel::travel(double dt) {
    const double half = -state.yawRate * dt * pi / 360; // rad, clockwise
    const double cosine = (1 - half * half) / (1 + half * half);
    const double sine = 2 * half / (1 + half * half);
    const double eastward = state.eastward;
    state.eastward = eastward * cosine + state.northward * sine;
    state.northward = state.northward * cosine - eastward * sine;
    state.heading -= state.yawRate * dt;
    state.heading += state.heading < 0 ? 360 : state.heading >= 360 ? -360 : 0;
    state.east += state.direction * state.speed * state.eastward * dt;
    state.north += state.direction * state.speed * state.northward * dt;
}

/// The inner wheels roll slower; the driven front wheels slip a little.
void VehicleModel::turnWheels() {
    const double lean = curvature(state.steeringWheel) * track / 2;
    const double slip = 1 + 0.004 * std::max(0.0, state.acceleration);
    const double sides[] = {1 - lean, 1 + lean};
    for (std::size_t i = 0; i < 4; ++i) {
        const double ripple = state.speed > 0 ? 0.006 * noise() : 0;
        state.wheelSpeed[i] = std::max(0.0, state.speed * sides[i % 2] * (i < 2 ? slip : 1) + ripple);
    }
}

void VehicleModel::supply(double dt) {
    const bool on = state.driver.ignition != Ignition::Off;
    const bool charging = state.engineSpeed > 600;
    const double load = (on ? 24 : 2) + (state.driver.highBeam ? 9 : 0) + (state.brakePressure > 1 ? 4 : 0);
    if (state.engine == EngineState::Cranking) {
        approach(state.voltage, 10.1 + 0.2 * noise(), dt, 0.05);
        state.current = 185 + 15 * noise();
    } else {
        approach(state.voltage, (charging ? 14.35 : 12.55) - 0.006 * load + 0.03 * noise(), dt, 0.3);
        state.current = charging ? -6 + 0.5 * noise() : load + 0.3 * noise();
    }
    state.locked = state.speed > 4.2 || (state.locked && on);
    const double flash = state.time * 1.5;
    state.lampsFlash = state.driver.turn != Turn::Off && flash - std::floor(flash) < 0.5;
}

/// A car in front that keeps its distance, and from time to time one on the other lane.
void VehicleModel::seeOthers(double dt) {
    RadarObject& ahead = state.objects[0];
    if (!ahead.present) {
        ahead = {.distance = 14, .present = true};
    }
    ahead.speed = 0.08 * (12 + 1.7 * state.speed - ahead.distance);
    ahead.distance += ahead.speed * dt;
    // On an arc, and within the radar's field of view.
    ahead.azimuth = std::clamp(curvature(state.steeringWheel) * ahead.distance / 2 * 180 / pi, -45.0, 45.0);
    ahead.age += dt;

    RadarObject& oncoming = state.objects[1];
    pauseOfRoad -= dt;
    if (!oncoming.present && pauseOfRoad < 0) {
        oncoming = {.distance = 180, .present = true};
    }
    if (oncoming.present) {
        oncoming.speed = -(state.speed + 13.9);
        oncoming.distance += oncoming.speed * dt;
        oncoming.azimuth = 3.5 / oncoming.distance * 180 / pi;
        oncoming.age += dt;
        if (oncoming.distance < 6) {
            oncoming = {};
            pauseOfRoad = 8 + 5 * noise();
        }
    }
}

/// The driver's seat makes room for getting in and out.
void VehicleModel::adjustSeat(double dt) {
    const bool open = state.driver.driverDoorOpen;
    approachAtRate(state.seatPosition, open ? 210 : 165, 15 * dt);
    approachAtRate(state.backrest, open ? -6 : 21.5, 12 * dt);
}

} // namespace drive

// What the driver and the drive train do. The rest of the car is in VehicleSystems.cpp.

#include "VehicleModel.h"
#include "Motion.h"

#include <algorithm>
#include <cmath>

namespace drive {

namespace {

constexpr double mass = 1480;         // kg
constexpr double airDrag = 0.372;     // N s^2/m^2: half of air density times drag area
constexpr double rollingDrag = 160;   // N
constexpr double wheelRadius = 0.316; // m
constexpr double finalDrive = 3.46;
constexpr double gearRatios[] = {4.171, 2.340, 1.521, 1.143, 0.867, 0.691}; // 1 to 6
constexpr double reverseRatio = 3.403;
constexpr double drivelineEfficiency = 0.92;
constexpr double engineDrag = -28;       // Nm, throttle closed
constexpr double idleSpeed = 780;        // rpm
constexpr double shiftTime = 0.4;        // s
constexpr double brakeForcePerBar = 121; // N

double maximumTorque(double rpm) {
    return std::clamp(110 + 0.09 * (rpm - 800), 60.0, 250.0);
}

} // namespace

void VehicleModel::step(double dt) {
    state.time += dt;
    state.driver = cycle.advance(dt);
    accelerate(dt);
    selectGear(dt);
    turnEngine(dt);
    pull();
    burnFuel(dt);
    warmUp(dt);
    steer(dt);
    travel(dt);
    turnWheels();
    supply(dt);
    seeOthers(dt);
    adjustSeat(dt);
}

/// The driver closes on the wanted speed, gently and without jerks.
void VehicleModel::accelerate(double dt) {
    const double target = state.driver.speed / 3.6;
    const double eagerness = target > 0 ? 0.5 * (target - state.speed) : -0.5 * state.speed - 0.3;
    approachAtRate(state.acceleration, std::clamp(eagerness, -2.6, 1.9), 2.5 * dt);
    if (state.speed + state.acceleration * dt <= 0) {
        state.acceleration = 0;
        state.speed = 0;
        state.direction = state.driver.lever == Lever::Reverse ? -1 : 1;
    }
    state.speed += state.acceleration * dt;
    state.odometer += state.speed * dt;
}

void VehicleModel::selectGear(double dt) {
    sinceShift += dt;
    int gear = 0;
    if (state.driver.lever == Lever::Reverse) {
        gear = -1;
    } else if (state.driver.lever == Lever::Drive) {
        gear = std::max(state.gear, 1);
        const bool settled = sinceShift > 1.2;
        if (settled && gear < 6 && state.engineSpeed > 2100 + 14 * state.throttle) {
            ++gear;
        } else if (settled && gear > 1 && state.engineSpeed < 1150 + 5 * state.throttle) {
            --gear;
        }
    }
    if (gear != state.gear) {
        state.gear = gear;
        sinceShift = 0;
    }
    state.shifting = sinceShift < shiftTime;
    state.gearRatio = gear < 0 ? reverseRatio : gear == 0 ? 0 : gearRatios[gear - 1];
    state.outputSpeed = state.speed / (2 * pi * wheelRadius) * 60 * finalDrive;
}

void VehicleModel::turnEngine(double dt) {
    const double driven = state.outputSpeed * state.gearRatio;
    const bool wasOff = state.engine == EngineState::Off;
    state.converterLocked = false;
    if (state.driver.ignition == Ignition::Crank) {
        state.starts += wasOff ? 1 : 0;
        state.engine = EngineState::Cranking;
        approach(state.engineSpeed, 240 + 20 * noise(), dt, 0.1);
    } else if (state.driver.ignition == Ignition::Off || wasOff) {
        state.engine = EngineState::Off;
        approachAtRate(state.engineSpeed, 0, 1200 * dt);
    } else if (state.gear > 0 && !state.shifting && driven > 1050) {
        state.engine = EngineState::Pulling;
        state.converterLocked = true;
        state.engineSpeed = driven;
    } else {
        // Idling, or dragging the torque converter along.
        state.engine = EngineState::Idling;
        const double coldExtra = std::max(0.0, 40 - state.coolant) * 7;
        approach(state.engineSpeed, std::max(idleSpeed + coldExtra + 9 * state.throttle, driven), dt, 0.12);
    }
}

/// Shares the force that the acceleration takes between engine and brakes.
void VehicleModel::pull() {
    const double resistance = state.speed > 0 ? airDrag * state.speed * state.speed + rollingDrag : 0;
    const double force = mass * state.acceleration + resistance;
    const double ratio = state.gearRatio * finalDrive;
    const bool running = state.engine == EngineState::Idling || state.engine == EngineState::Pulling;
    double brakes = -force;
    state.engineTorque = 0;
    if (running && ratio > 0 && state.speed > 0) {
        const double wanted = force * wheelRadius / (ratio * drivelineEfficiency);
        state.engineTorque = std::clamp(wanted, engineDrag, maximumTorque(state.engineSpeed));
        brakes = (state.engineTorque - wanted) * ratio * drivelineEfficiency / wheelRadius;
    }
    if (state.engine == EngineState::Pulling && state.engineTorque < -10) {
        state.engine = EngineState::Overrun;
    }
    const bool holding = state.speed == 0 && state.driver.ignition != Ignition::Off;
    state.brakePressure = holding ? 18 : std::max(0.0, brakes) / brakeForcePerBar;
    state.throttle = 100 * std::max(0.0, state.engineTorque) / maximumTorque(state.engineSpeed);
}

} // namespace drive

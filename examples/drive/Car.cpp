// The script of the drive, what the driver and the drive train do, and what follows from the movement: fuel,
// heat, steering, wheels, electric supply, and the cars around.

#include "Car.h"

#include <iterator>

namespace drive {
namespace {

using enum Ignition;
using enum Lever;

// clang-format off
constexpr Phase script[] = {
    // Getting in and starting
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park, .driverDoorOpen = true},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    {.seconds = 1, .speed = 0, .steeringWheel = 0, .ignition = Crank, .lever = Park},
    {.seconds = 5, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    // Backwards out of the parking place
    {.seconds = 5, .speed = 6, .steeringWheel = -220, .ignition = On, .lever = Reverse},
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Reverse},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Left},
    // Residential street, a turn to the left, town, a red light
    {.seconds = 14, .speed = 30, .steeringWheel = 4, .ignition = On, .lever = Drive},
    {.seconds = 4, .speed = 18, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Left, .window = WindowSwitch::DownAutomatic},
    {.seconds = 5, .speed = 18, .steeringWheel = 150, .ignition = On, .lever = Drive, .turn = Turn::Left},
    {.seconds = 24, .speed = 50, .steeringWheel = -2, .ignition = On, .lever = Drive},
    {.seconds = 18, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 20, .speed = 50, .steeringWheel = 3, .ignition = On, .lever = Drive},
    {.seconds = 6, .speed = 20, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Right, .window = WindowSwitch::Up},
    {.seconds = 5, .speed = 20, .steeringWheel = -140, .ignition = On, .lever = Drive, .turn = Turn::Right},
    // Out of town: it begins to rain, a tunnel with two curves, overtaking
    {.seconds = 20, .speed = 70, .steeringWheel = 1, .ignition = On, .lever = Drive, .rain = 1},
    {.seconds = 22, .speed = 85, .steeringWheel = 0, .ignition = On, .lever = Drive, .highBeam = true, .rain = 2},
    {.seconds = 8, .speed = 80, .steeringWheel = 10, .ignition = On, .lever = Drive, .tunnel = true},
    {.seconds = 8, .speed = 80, .steeringWheel = -12, .ignition = On, .lever = Drive, .tunnel = true},
    {.seconds = 10, .speed = 88, .steeringWheel = 0, .ignition = On, .lever = Drive, .highBeam = true, .rain = 3},
    {.seconds = 3, .speed = 100, .steeringWheel = 3, .ignition = On, .lever = Drive, .turn = Turn::Left, .rain = 1},
    {.seconds = 11, .speed = 108, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 3, .speed = 105, .steeringWheel = -3, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 40, .speed = 98, .steeringWheel = 2, .ignition = On, .lever = Drive},
    // The next village; parking
    {.seconds = 20, .speed = 50, .steeringWheel = -3, .ignition = On, .lever = Drive},
    {.seconds = 7, .speed = 15, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 5, .speed = 12, .steeringWheel = -180, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 9, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Neutral},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park},
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park, .driverDoorOpen = true},
};
// clang-format on

constexpr double pi = 3.14159265358979323846;
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

constexpr double tank = 52;            // l
constexpr double wheelBase = 2.65;     // m
constexpr double track = 1.54;         // m
constexpr double steeringRatio = 15.5; // steering wheel to front wheels

/// 1/m, positive to the left. The angle of the front wheels is small enough to stand for its tangent.
double curvature(double steeringWheel) {
    return steeringWheel / steeringRatio * pi / 180 / wheelBase;
}

} // namespace

void VehicleModel::step(double dt) {
    car.time += dt;
    followScript(dt);
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
    // The driver's seat makes room for getting in and out.
    approachAtRate(car.seatPosition, car.driver.driverDoorOpen ? 210 : 165, 15 * dt);
    approachAtRate(car.backrest, car.driver.driverDoorOpen ? -6 : 21.5, 12 * dt);
}

void VehicleModel::followScript(double dt) {
    for (inPhase += dt; inPhase >= script[phase].seconds; phase = (phase + 1) % std::size(script)) {
        inPhase -= script[phase].seconds;
    }
    car.driver = script[phase];
}

/// The driver closes on the wanted speed, gently and without jerks.
void VehicleModel::accelerate(double dt) {
    const double target = car.driver.speed / 3.6;
    const double eagerness = target > 0 ? 0.5 * (target - car.speed) : -0.5 * car.speed - 0.3;
    approachAtRate(car.acceleration, std::clamp(eagerness, -2.6, 1.9), 2.5 * dt);
    if (car.speed + car.acceleration * dt <= 0) {
        car.acceleration = 0;
        car.speed = 0;
        car.direction = car.driver.lever == Reverse ? -1 : 1;
    }
    car.speed += car.acceleration * dt;
    car.odometer += car.speed * dt;
}

void VehicleModel::selectGear(double dt) {
    sinceShift += dt;
    int gear = 0;
    if (car.driver.lever == Reverse) {
        gear = -1;
    } else if (car.driver.lever == Drive) {
        gear = std::max(car.gear, 1);
        const bool settled = sinceShift > 1.2;
        if (settled && gear < 6 && car.engineSpeed > 2100 + 14 * car.throttle) {
            ++gear;
        } else if (settled && gear > 1 && car.engineSpeed < 1150 + 5 * car.throttle) {
            --gear;
        }
    }
    if (gear != car.gear) {
        car.gear = gear;
        sinceShift = 0;
    }
    car.shifting = sinceShift < shiftTime;
    car.gearRatio = gear < 0 ? reverseRatio : gear == 0 ? 0 : gearRatios[gear - 1];
    car.outputSpeed = car.speed / (2 * pi * wheelRadius) * 60 * finalDrive;
}

void VehicleModel::turnEngine(double dt) {
    const double driven = car.outputSpeed * car.gearRatio;
    const bool wasOff = car.engine == EngineState::Off;
    car.converterLocked = false;
    if (car.driver.ignition == Crank) {
        car.starts += wasOff ? 1 : 0;
        car.engine = EngineState::Cranking;
        approach(car.engineSpeed, 240 + 20 * noise(), dt, 0.1);
    } else if (car.driver.ignition == Off || wasOff) {
        car.engine = EngineState::Off;
        approachAtRate(car.engineSpeed, 0, 1200 * dt);
    } else if (car.gear > 0 && !car.shifting && driven > 1050) {
        car.engine = EngineState::Pulling;
        car.converterLocked = true;
        car.engineSpeed = driven;
    } else {
        // Idling, or dragging the torque converter along.
        car.engine = EngineState::Idling;
        const double coldExtra = std::max(0.0, 40 - car.coolant) * 7;
        approach(car.engineSpeed, std::max(idleSpeed + coldExtra + 9 * car.throttle, driven), dt, 0.12);
    }
}

/// Shares the force that the acceleration takes between engine and brakes.
void VehicleModel::pull() {
    const double resistance = car.speed > 0 ? airDrag * car.speed * car.speed + rollingDrag : 0;
    const double force = mass * car.acceleration + resistance;
    const double ratio = car.gearRatio * finalDrive;
    const bool running = car.engine == EngineState::Idling || car.engine == EngineState::Pulling;
    double brakes = -force;
    car.engineTorque = 0;
    if (running && ratio > 0 && car.speed > 0) {
        const double wanted = force * wheelRadius / (ratio * drivelineEfficiency);
        car.engineTorque = std::clamp(wanted, engineDrag, maximumTorque(car.engineSpeed));
        brakes = (car.engineTorque - wanted) * ratio * drivelineEfficiency / wheelRadius;
    }
    if (car.engine == EngineState::Pulling && car.engineTorque < -10) {
        car.engine = EngineState::Overrun;
    }
    const bool holding = car.speed == 0 && car.isOn();
    car.brakePressure = holding ? 18 : std::max(0.0, brakes) / brakeForcePerBar;
    car.throttle = 100 * std::max(0.0, car.engineTorque) / maximumTorque(car.engineSpeed);
}

void VehicleModel::burnFuel(double dt) {
    const bool burning = car.engine == EngineState::Idling || car.engine == EngineState::Pulling;
    const double kilowatts = std::max(0.0, car.engineTorque) * car.engineSpeed * (2 * pi / 60) / 1000;
    car.fuelRate = burning ? 0.0006 * car.engineSpeed + 0.336 * kilowatts : 0;
    const double litres = car.fuelRate * dt / 3600;
    car.fuel -= litres;
    car.fuelConsumed += litres;
    if (car.fuel < 5 && car.driver.driverDoorOpen) {
        car.fuel = tank; // a filling station
    }
    if (car.engineSpeed > 400) {
        car.operatingHours += dt / 3600;
    }
}

void VehicleModel::warmUp(double dt) {
    const bool burning = car.fuelRate > 0;
    const double heating = burning ? 0.10 + 0.03 * car.fuelRate : 0;
    const double cooling = 0.0003 * (car.coolant - car.air) + 0.05 * std::max(0.0, car.coolant - 88);
    car.coolant += (heating - cooling) * dt;
    approach(car.oil, car.coolant + (burning ? 6 : 0), dt, 90);
    approach(car.gearOil, 0.9 * car.coolant, dt, 150);
    approach(car.cabin, std::min(21.5, car.coolant), dt, 120);
    approach(car.tyre, car.air + 0.6 * car.speed, dt, 300);
}

void VehicleModel::steer(double dt) {
    const double before = car.steeringWheel;
    const double held = car.speed > 0 ? 0.3 * noise() : 0; // nobody holds it quite still
    approachAtRate(car.steeringWheel, car.driver.steeringWheel + held, 160 * dt);
    approach(car.steeringRate, (car.steeringWheel - before) / dt, dt, 0.05);
    const double turned = curvature(car.steeringWheel) * car.speed; // rad/s
    car.yawRate = car.direction * turned * 180 / pi;
    car.lateralAcceleration = car.speed * turned;
}

/// Turns the heading and moves on along it. The vector is turned by the half angle's tangent, of which the
/// angle itself is a good approximation in so short a time: its length stays 1.
void VehicleModel::travel(double dt) {
    const double half = -car.yawRate * dt * pi / 360; // rad, clockwise
    const double cosine = (1 - half * half) / (1 + half * half);
    const double sine = 2 * half / (1 + half * half);
    const double eastward = car.eastward;
    car.eastward = eastward * cosine + car.northward * sine;
    car.northward = car.northward * cosine - eastward * sine;
    car.heading -= car.yawRate * dt;
    car.heading += car.heading < 0 ? 360 : car.heading >= 360 ? -360 : 0;
    car.east += car.direction * car.speed * car.eastward * dt;
    car.north += car.direction * car.speed * car.northward * dt;
}

/// The inner wheels roll slower; the driven front wheels slip a little.
void VehicleModel::turnWheels() {
    const double lean = curvature(car.steeringWheel) * track / 2;
    const double slip = 1 + 0.004 * std::max(0.0, car.acceleration);
    const double sides[] = {1 - lean, 1 + lean};
    for (std::size_t i = 0; i < 4; ++i) {
        const double ripple = car.speed > 0 ? 0.006 * noise() : 0;
        car.wheelSpeed[i] = std::max(0.0, car.speed * sides[i % 2] * (i < 2 ? slip : 1) + ripple);
    }
}

void VehicleModel::supply(double dt) {
    const bool on = car.isOn();
    const bool charging = car.engineSpeed > 600;
    const double load = (on ? 24 : 2) + (car.driver.highBeam ? 9 : 0) + (car.brakePressure > 1 ? 4 : 0);
    if (car.engine == EngineState::Cranking) {
        approach(car.voltage, 10.1 + 0.2 * noise(), dt, 0.05);
        car.current = 185 + 15 * noise();
    } else {
        approach(car.voltage, (charging ? 14.35 : 12.55) - 0.006 * load + 0.03 * noise(), dt, 0.3);
        car.current = charging ? -6 + 0.5 * noise() : load + 0.3 * noise();
    }
    car.locked = car.speed > 4.2 || (car.locked && on);
    const double flash = car.time * 1.5;
    car.lampsFlash = car.driver.turn != Turn::Off && flash - std::floor(flash) < 0.5;
}

/// A car in front that keeps its distance, and from time to time one on the other lane.
void VehicleModel::seeOthers(double dt) {
    RadarObject& ahead = car.objects[0];
    if (!ahead.present) {
        ahead = {.distance = 14, .present = true};
    }
    ahead.speed = 0.08 * (12 + 1.7 * car.speed - ahead.distance);
    ahead.distance += ahead.speed * dt;
    // On an arc, and within the radar's field of view.
    ahead.azimuth = std::clamp(curvature(car.steeringWheel) * ahead.distance / 2 * 180 / pi, -45.0, 45.0);
    ahead.age += dt;

    RadarObject& oncoming = car.objects[1];
    pauseOfRoad -= dt;
    if (!oncoming.present && pauseOfRoad < 0) {
        oncoming = {.distance = 180, .present = true};
    }
    if (oncoming.present) {
        oncoming.speed = -(car.speed + 13.9);
        oncoming.distance += oncoming.speed * dt;
        oncoming.azimuth = 3.5 / oncoming.distance * 180 / pi;
        oncoming.age += dt;
        if (oncoming.distance < 6) {
            oncoming = {};
            pauseOfRoad = 8 + 5 * noise();
        }
    }
}

} // namespace drive

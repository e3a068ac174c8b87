#include "Sender.h"

namespace drive {

namespace {

using enum Field::Order;
using enum FrameKind;

/// 3B3, 2 bytes: one bit a door, and the central locking.
bool door(Frame& frame, const VehicleState& car, std::uint64_t) {
    putFlag(frame, 0, 0, car.driver.driverDoorOpen);
    putRaw(frame, {Little, 1, 0, 2}, car.locked ? 1 : 0);
    return true;
}

/// 3B4, 2 bytes: lamps, one bit each, and the turn switch.
bool light(Frame& frame, const VehicleState& car, std::uint64_t) {
    const bool on = car.driver.ignition != Ignition::Off;
    const bool lamps[] = {
        on,                                               // position
        on && !car.driver.highBeam,                       // low beam
        car.driver.highBeam,                              // high beam
        car.brakePressure > 1,                            // brake
        car.driver.lever == Lever::Reverse,               // reverse
        car.driver.turn == Turn::Left && car.lampsFlash,  // turn left
        car.driver.turn == Turn::Right && car.lampsFlash, // turn right
    };
    std::uint8_t bit = 0;
    for (const bool lamp : lamps) {
        putFlag(frame, 0, bit++, lamp);
    }
    putRaw(frame, {Little, 1, 0, 2}, static_cast<std::uint64_t>(car.driver.turn));
    return true;
}

/// 3C0, 4 bytes: the climate control. It sends only its first 2 bytes while it starts up.
bool climate(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Big, 0, 7, 12, true, 0.1}, car.cabin);
    const bool on = car.driver.ignition != Ignition::Off;
    put(frame, {Big, 1, 3, 4}, !on ? 0 : car.cabin < 19 ? 5 : 2);
    put(frame, {Big, 2, 7, 8, false, 0.5, 10}, 21.5);
    putFlag(frame, 3, 0, on && car.coolant > 60);
    if (car.time < 1) {
        frame.length = 2;
    }
    return true;
}

/// 24 bytes for an object that the radar sees, from byte `start` on.
void putObject(Frame& frame, std::uint8_t start, const RadarObject& object, std::uint64_t kind) {
    const auto at = [start](int offset) { return static_cast<std::uint8_t>(start + offset); };
    if (!object.present) {
        return;
    }
    put(frame, {Little, at(0), 0, 16, false, 0.01}, object.distance);
    put(frame, {Big, at(2), 7, 16, true, 0.01}, object.speed);
    put(frame, {Little, at(4), 0, 12, true, 0.05}, object.azimuth);
    putRaw(frame, {Little, at(5), 4, 3}, kind);
    putFloat(frame, {Little, at(8), 0, 32}, object.age);
}

/// 2A0, CAN FD, 64 bytes: what the radar sees, and what it knows of the car.
bool radar(Frame& frame, const VehicleState& car, std::uint64_t n) {
    putRaw(frame, {Little, 0, 0, 8}, n % 256);
    putRaw(frame, {Little, 1, 0, 4}, (car.objects[0].present ? 1 : 0) + (car.objects[1].present ? 1 : 0));
    putObject(frame, 4, car.objects[0], 1);
    putObject(frame, 28, car.objects[1], 2);
    put(frame, {Big, 56, 7, 16, false, 0.01}, car.speed * 3.6);
    put(frame, {Little, 58, 0, 48, false, 0.000001}, car.time);
    return true;
}

/// 18FF0B10, CAN FD with a 29-bit identifier, though only 8 bytes: accelerations and yaw rate.
bool inertia(Frame& frame, const VehicleState& car, std::uint64_t n) {
    put(frame, {Little, 0, 0, 16, true, 0.001}, car.direction * car.acceleration);
    put(frame, {Little, 2, 0, 16, true, 0.001}, car.lateralAcceleration);
    put(frame, {Little, 4, 0, 16, true, 0.01}, car.yawRate);
    putRaw(frame, {Little, 6, 0, 8}, n % 256);
    return true;
}

/// 4A0, 8 bytes: pages within pages. The low half of byte 0 says what it is about; for the tyres (0) the high
/// half says which one.
bool monitor(Frame& frame, const VehicleState& car, std::uint64_t n) {
    const std::uint64_t page = n % 7;
    const bool isTyre = page < 4;
    const std::uint64_t group = isTyre ? 0 : page - 3;
    putRaw(frame, {Little, 0, 0, 4}, group);
    if (isTyre) {
        constexpr double coldPressures[] = {2.42, 2.38, 2.21, 2.24};
        putRaw(frame, {Little, 0, 4, 4}, page);
        put(frame, {Little, 1, 0, 12, false, 0.01}, coldPressures[page] + 0.01 * (car.tyre - 12));
        put(frame, {Little, 3, 0, 8, false, 1, -40}, car.tyre);
    } else if (group == 1) {
        put(frame, {Little, 1, 0, 16, false, 0.001}, car.voltage - 0.12);
    } else {
        // Fault memory: one fault is stored (2), none is pending (3).
        putRaw(frame, {Little, 1, 0, 24}, group == 2 ? 0x0128 : 0);
        putRaw(frame, {Little, 4, 0, 8}, group == 2 ? 1 : 0);
    }
    return true;
}

/// 555: a heartbeat that no DBC describes.
bool heartbeat(Frame& frame, const VehicleState&, std::uint64_t n) {
    frame.data[0] = static_cast<std::uint8_t>(n);
    frame.data[2] = 0xA5;
    return true;
}

/// While the starter draws the voltage down, the bus controller sees stuff errors (bits of SocketCAN's error
/// frames: protocol violation, bus error; kind of violation in byte 2).
bool stuffError(Frame& frame, const VehicleState& car, std::uint64_t) {
    frame.data[2] = 0x04;
    return car.engine == EngineState::Cranking;
}

constexpr Sender onBody[] = {
    {0x3B3, Data, false, 2, 100, 40, door},        {0x3B4, Data, false, 2, 50, 20, light},
    {0x3C0, Data, false, 4, 200, 60, climate},     {0x2A0, FdData, false, 64, 50, 10, radar},
    {0x18FF0B10, FdData, true, 8, 20, 0, inertia}, {0x4A0, Data, false, 8, 50, 30, monitor},
    {0x555, Data, false, 3, 200, 80, heartbeat},   {0x088, Error, false, 8, 400, 0, stuffError},
};

} // namespace

std::span<const Sender> bodySenders() {
    return onBody;
}

} // namespace drive

#include "Sender.h"

namespace drive {

namespace {

using enum Field::Order;
using enum FrameKind;

void fillCounter(Frame& frame, std::uint8_t byte, std::uint64_t n) {
    putRaw(frame, {Little, byte, 0, 4}, n % 16);
}

/// 0C9, 8 bytes: engine speed, torque, throttle, state, message counter, exclusive-or of the bytes before.
bool engine(Frame& frame, const VehicleState& car, std::uint64_t n) {
    put(frame, {Big, 0, 7, 16, false, 0.25}, car.engineSpeed);
    put(frame, {Big, 2, 7, 16, true, 0.1}, car.engineTorque);
    put(frame, {Big, 4, 7, 8, false, 0.5}, car.throttle);
    putFlag(frame, 5, 0, car.engineSpeed > 400);
    putRaw(frame, {Big, 5, 3, 3}, static_cast<std::uint64_t>(car.engine));
    fillCounter(frame, 6, n);
    for (std::size_t i = 0; i < 7; ++i) {
        frame.data[7] ^= frame.data[i];
    }
    return true;
}

/// 1F5, 6 bytes: lever, gear and what the gearbox does.
bool gear(Frame& frame, const VehicleState& car, std::uint64_t) {
    putRaw(frame, {Little, 0, 0, 3}, static_cast<std::uint64_t>(car.driver.lever));
    putFlag(frame, 0, 3, car.converterLocked);
    put(frame, {Little, 0, 4, 4, true}, car.gear);
    put(frame, {Little, 1, 0, 14, false, 0.5}, car.outputSpeed);
    putFlag(frame, 2, 6, car.shifting);
    put(frame, {Little, 3, 0, 8, false, 1, -40}, car.gearOil);
    put(frame, {Little, 4, 0, 12, false, 0.002}, car.gearRatio);
    return true;
}

/// 0F1, 8 bytes: speed, acceleration, odometer.
bool vehicle(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Little, 0, 0, 16, false, 0.01}, car.speed * 3.6);
    put(frame, {Little, 2, 0, 12, true, 0.01}, car.direction * car.acceleration);
    putFlag(frame, 3, 4, car.speed > 0);
    put(frame, {Little, 4, 0, 32, false, 0.001}, car.odometer / 1000);
    return true;
}

/// 0D0, 8 bytes: four wheel speeds; the top bit of each pair of bytes is unused.
bool wheel(Frame& frame, const VehicleState& car, std::uint64_t) {
    for (std::uint8_t i = 0; i < 4; ++i) {
        put(frame, {Big, static_cast<std::uint8_t>(2 * i), 6, 15, false, 0.01}, car.wheelSpeed[i] * 3.6);
    }
    return true;
}

/// 0D1, 3 bytes: brake pressure in 12 bits that begin in the middle of byte 0.
bool brake(Frame& frame, const VehicleState& car, std::uint64_t n) {
    put(frame, {Big, 0, 3, 12, false, 0.1}, car.brakePressure);
    putFlag(frame, 0, 7, car.brakePressure > 1);
    putFlag(frame, 0, 6, car.acceleration < -6);
    fillCounter(frame, 2, n);
    return true;
}

/// 025, 5 bytes: steering wheel.
bool steering(Frame& frame, const VehicleState& car, std::uint64_t n) {
    put(frame, {Little, 0, 0, 16, true, 0.1}, car.steeringWheel);
    put(frame, {Little, 2, 0, 16, true, 0.5}, car.steeringRate);
    fillCounter(frame, 4, n);
    return true;
}

/// 3E8, 8 bytes: two IEEE 754 singles, one of each byte order.
bool battery(Frame& frame, const VehicleState& car, std::uint64_t) {
    putFloat(frame, {Little, 0, 0, 32}, car.voltage);
    putFloat(frame, {Big, 4, 7, 32}, car.current);
    return true;
}

/// 3E9, 8 bytes: an IEEE 754 double.
bool fuel(Frame& frame, const VehicleState& car, std::uint64_t) {
    putFloat(frame, {Little, 0, 0, 64}, car.fuelConsumed);
    return true;
}

/// 3EA, 3 bytes: fill level and range.
bool tank(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Little, 0, 0, 8, false, 0.5}, car.fuel / 52 * 100);
    put(frame, {Little, 1, 0, 16}, car.fuel / 6.2 * 100);
    return true;
}

/// 5A0, 8 bytes: three pages that take turns; byte 0 says which it is.
bool maintenance(Frame& frame, const VehicleState& car, std::uint64_t n) {
    const std::uint64_t page = n % 3;
    putRaw(frame, {Little, 0, 0, 8}, page);
    if (page == 0) {
        put(frame, {Little, 1, 0, 8, false, 0.5}, 64 - car.fuelConsumed / 40);
        put(frame, {Little, 2, 0, 24, true, 0.1}, 55000 - car.odometer / 1000);
    } else if (page == 1) {
        put(frame, {Little, 1, 0, 32, false, 0.05}, car.operatingHours);
        putRaw(frame, {Little, 5, 0, 16}, car.starts);
    } else {
        putRaw(frame, {Little, 1, 0, 56}, 0x20240318A51207); // a date and a serial number
    }
    return true;
}

void fillUnused(Frame& frame, std::initializer_list<std::size_t> bytes) {
    for (const std::size_t byte : bytes) {
        frame.data[byte] = 0xFF;
    }
}

/// 18FEEE00, in the manner of SAE J1939: temperatures of coolant and oil.
bool engineTemperature(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Little, 0, 0, 8, false, 1, -40}, car.coolant);
    put(frame, {Little, 2, 0, 16, false, 0.03125, -273}, car.oil);
    fillUnused(frame, {1, 4, 5, 6, 7});
    return true;
}

/// 18FEF500: the air outside.
bool ambient(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Little, 0, 0, 8, false, 0.5}, 98.6);
    put(frame, {Little, 3, 0, 16, false, 0.03125, -273}, car.air);
    fillUnused(frame, {1, 2, 5, 6, 7});
    return true;
}

/// 18FEF200: what the engine burns.
bool fuelEconomy(Frame& frame, const VehicleState& car, std::uint64_t) {
    put(frame, {Little, 0, 0, 16, false, 0.05}, car.fuelRate);
    const double economy = car.fuelRate > 0 ? car.speed * 3.6 / car.fuelRate : 125.5;
    put(frame, {Little, 2, 0, 16, false, 1.0 / 512}, std::min(economy, 125.5));
    fillUnused(frame, {4, 5, 6, 7});
    return true;
}

/// 7DF: a diagnostic tester asks for the engine speed (ISO 15765-4); in no DBC.
bool diagnosticRequest(Frame& frame, const VehicleState&, std::uint64_t) {
    frame.data = {0x02, 0x01, 0x0C, 0x55, 0x55, 0x55, 0x55, 0x55};
    return true;
}

/// 7E8: the answer.
bool diagnosticResponse(Frame& frame, const VehicleState& car, std::uint64_t) {
    frame.data = {0x04, 0x41, 0x0C, 0, 0, 0xAA, 0xAA, 0xAA};
    put(frame, {Big, 3, 7, 16, false, 0.25}, car.engineSpeed);
    return true;
}

/// The tester also asks for 3EA by a remote frame.
bool tankRequest(Frame&, const VehicleState&, std::uint64_t) {
    return true;
}

constexpr Sender onPowertrain[] = {
    {0x0C9, Data, false, 8, 10, 0, engine},
    {0x1F5, Data, false, 6, 20, 0, gear},
    {0x0F1, Data, false, 8, 20, 10, vehicle},
    {0x0D0, Data, false, 8, 20, 0, wheel},
    {0x0D1, Data, false, 3, 20, 10, brake},
    {0x025, Data, false, 5, 20, 10, steering},
    {0x3E8, Data, false, 8, 100, 30, battery},
    {0x3E9, Data, false, 8, 500, 50, fuel},
    {0x3EA, Data, false, 3, 500, 70, tank},
    {0x5A0, Data, false, 8, 200, 90, maintenance},
    {0x18FEEE00, Data, true, 8, 1000, 110, engineTemperature},
    {0x18FEF500, Data, true, 8, 1000, 130, ambient},
    {0x18FEF200, Data, true, 8, 100, 50, fuelEconomy},
    {0x7DF, Data, false, 8, 1000, 470, diagnosticRequest},
    {0x7E8, Data, false, 8, 1000, 480, diagnosticResponse},
    {0x3EA, Remote, false, 3, 60000, 20020, tankRequest},
};

} // namespace

std::span<const Sender> powertrainSenders() {
    return onPowertrain;
}

} // namespace drive

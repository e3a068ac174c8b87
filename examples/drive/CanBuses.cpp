// What the control units send on CAN. The layouts of the frames are written out a second time in drive.dbc
// and body.dbc on purpose: a car and its documentation are independent.

#include "CanBuses.h"

#include <algorithm>

namespace drive {

using enum Field::Order;
using enum FrameKind;

struct Sender {
    std::uint32_t id;
    FrameKind kind;
    bool extended;
    std::uint8_t length;
    unsigned period, phase; ///< ms, multiples of 10
    /// Fills in the data for the `n`th transmission, counted from 0; may shorten the frame, or not send it.
    void (*fill)(Frame& f, const Car& car, std::uint64_t n);
};

namespace {

void fillUnused(Frame& f, std::initializer_list<std::size_t> bytes) {
    for (const std::size_t byte : bytes) {
        f.data[byte] = 0xFF;
    }
}

/// Engine speed, torque, throttle, state, message counter, exclusive-or of the bytes before.
void engine(Frame& f, const Car& car, std::uint64_t n) {
    f.put({Big, 0, 7, 16, false, 0.25}, car.engineSpeed);
    f.put({Big, 2, 7, 16, true, 0.1}, car.engineTorque);
    f.put({Big, 4, 7, 8, false, 0.5}, car.throttle);
    f.putFlag(5, 0, car.engineSpeed > 400);
    f.putRaw({Big, 5, 3, 3}, static_cast<std::uint64_t>(car.engine));
    f.putRaw({Little, 6, 0, 4}, n);
    for (std::size_t i = 0; i < 7; ++i) {
        f.data[7] ^= f.data[i];
    }
}

/// Lever, gear and what the gearbox does.
void gear(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.putRaw({Little, 0, 0, 3}, static_cast<std::uint64_t>(car.driver.lever));
    f.putFlag(0, 3, car.converterLocked);
    f.put({Little, 0, 4, 4, true}, car.gear);
    f.put({Little, 1, 0, 14, false, 0.5}, car.outputSpeed);
    f.putFlag(2, 6, car.shifting);
    f.put({Little, 3, 0, 8, false, 1, -40}, car.gearOil);
    f.put({Little, 4, 0, 12, false, 0.002}, car.gearRatio);
}

/// Speed, acceleration, odometer.
void vehicle(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.put({Little, 0, 0, 16, false, 0.01}, car.speed * 3.6);
    f.put({Little, 2, 0, 12, true, 0.01}, car.direction * car.acceleration);
    f.putFlag(3, 4, car.speed > 0);
    f.put({Little, 4, 0, 32, false, 0.001}, car.odometer / 1000);
}

/// Four wheel speeds; the top bit of each pair of bytes is unused.
void wheel(Frame& f, const Car& car, std::uint64_t /*n*/) {
    for (int i = 0; i < 4; ++i) {
        f.put({Big, 2 * i, 6, 15, false, 0.01}, car.wheelSpeed[static_cast<std::size_t>(i)] * 3.6);
    }
}

/// Brake pressure in 12 bits that begin in the middle of byte 0.
void brake(Frame& f, const Car& car, std::uint64_t n) {
    f.put({Big, 0, 3, 12, false, 0.1}, car.brakePressure);
    f.putFlag(0, 7, car.brakePressure > 1);
    f.putFlag(0, 6, car.acceleration < -6);
    f.putRaw({Little, 2, 0, 4}, n);
}

void steering(Frame& f, const Car& car, std::uint64_t n) {
    f.put({Little, 0, 0, 16, true, 0.1}, car.steeringWheel);
    f.put({Little, 2, 0, 16, true, 0.5}, car.steeringRate);
    f.putRaw({Little, 4, 0, 4}, n);
}

/// Two IEEE 754 singles, one of each byte order.
void battery(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.putFloat({Little, 0, 0, 32}, car.voltage);
    f.putFloat({Big, 4, 7, 32}, car.current);
}

/// Three pages that take turns; byte 0 says which it is.
void maintenance(Frame& f, const Car& car, std::uint64_t n) {
    const std::uint64_t page = n % 3;
    f.putRaw({Little, 0, 0, 8}, page);
    if (page == 0) {
        f.put({Little, 1, 0, 8, false, 0.5}, 64 - car.fuelConsumed / 40);
        f.put({Little, 2, 0, 24, true, 0.1}, 55000 - car.odometer / 1000);
    } else if (page == 1) {
        f.put({Little, 1, 0, 32, false, 0.05}, car.operatingHours);
        f.putRaw({Little, 5, 0, 16}, car.starts);
    } else {
        f.putRaw({Little, 1, 0, 56}, 0x20240318A51207); // a date and a serial number
    }
}

/// In the manner of SAE J1939: temperatures of coolant and oil.
void engineTemperature(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.put({Little, 0, 0, 8, false, 1, -40}, car.coolant);
    f.put({Little, 2, 0, 16, false, 0.03125, -273}, car.oil);
    fillUnused(f, {1, 4, 5, 6, 7});
}

/// The air outside.
void ambient(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.put({Little, 0, 0, 8, false, 0.5}, 98.6);
    f.put({Little, 3, 0, 16, false, 0.03125, -273}, car.air);
    fillUnused(f, {1, 2, 5, 6, 7});
}

/// What the engine burns.
void fuelEconomy(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.put({Little, 0, 0, 16, false, 0.05}, car.fuelRate);
    const double economy = car.fuelRate > 0 ? car.speed * 3.6 / car.fuelRate : 125.5;
    f.put({Little, 2, 0, 16, false, 1.0 / 512}, std::min(economy, 125.5));
    fillUnused(f, {4, 5, 6, 7});
}

/// A diagnostic tester asks for the engine speed (ISO 15765-4), and the engine answers; in no DBC.
void request(Frame& f, const Car& /*car*/, std::uint64_t /*n*/) {
    f.data = {0x02, 0x01, 0x0C, 0x55, 0x55, 0x55, 0x55, 0x55};
}
void response(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.data = {0x04, 0x41, 0x0C, 0, 0, 0xAA, 0xAA, 0xAA};
    f.put({Big, 3, 7, 16, false, 0.25}, car.engineSpeed);
}

constexpr Sender onPowertrain[] = {
    {0x0C9, Data, false, 8, 10, 0, engine},
    {0x1F5, Data, false, 6, 20, 0, gear},
    {0x0F1, Data, false, 8, 20, 10, vehicle},
    {0x0D0, Data, false, 8, 20, 0, wheel},
    {0x0D1, Data, false, 3, 20, 10, brake},
    {0x025, Data, false, 5, 20, 10, steering},
    {0x3E8, Data, false, 8, 100, 30, battery},
    {0x3E9, Data, false, 8, 500, 50, // an IEEE 754 double
     [](Frame& f, const Car& car, std::uint64_t) {
         f.putFloat({Little, 0, 0, 64}, car.fuelConsumed);
     }},
    {0x3EA, Data, false, 3, 500, 70, // fill level and range
     [](Frame& f, const Car& car, std::uint64_t) {
         f.put({Little, 0, 0, 8, false, 0.5}, car.fuel / 52 * 100);
         f.put({Little, 1, 0, 16}, car.fuel / 6.2 * 100);
     }},
    {0x5A0, Data, false, 8, 200, 90, maintenance},
    {0x18FEEE00, Data, true, 8, 1000, 110, engineTemperature},
    {0x18FEF500, Data, true, 8, 1000, 130, ambient},
    {0x18FEF200, Data, true, 8, 100, 50, fuelEconomy},
    {0x7DF, Data, false, 8, 1000, 470, request},
    {0x7E8, Data, false, 8, 1000, 480, response},
    {0x3EA, Remote, false, 3, 60000, 20020,
     [](Frame&, const Car&, std::uint64_t) {}}, // the tester asks for it
};

/// Lamps, one bit each (position, low and high beam, brake, reverse, turn left and right), and the turn
/// switch.
void light(Frame& f, const Car& car, std::uint64_t /*n*/) {
    const Phase& driver = car.driver;
    int bit = 0;
    for (const bool lamp :
         {car.isOn(), car.isOn() && !driver.highBeam, driver.highBeam, car.brakePressure > 1,
          driver.lever == Lever::Reverse, driver.turn == Turn::Left && car.lampsFlash,
          driver.turn == Turn::Right && car.lampsFlash}) {
        f.putFlag(0, bit++, lamp);
    }
    f.putRaw({Little, 1, 0, 2}, static_cast<std::uint64_t>(driver.turn));
}

/// The climate control. It sends only its first 2 bytes while it starts up.
void climate(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.put({Big, 0, 7, 12, true, 0.1}, car.cabin);
    f.put({Big, 1, 3, 4}, !car.isOn() ? 0 : car.cabin < 19 ? 5 : 2);
    f.put({Big, 2, 7, 8, false, 0.5, 10}, 21.5);
    f.putFlag(3, 0, car.isOn() && car.coolant > 60);
    f.length = car.time < 1 ? 2 : f.length;
}

/// 24 bytes for an object that the radar sees, from byte `at` on.
void putObject(Frame& f, int at, const RadarObject& object, std::uint64_t kind) {
    if (object.present) {
        f.put({Little, at, 0, 16, false, 0.01}, object.distance);
        f.put({Big, at + 2, 7, 16, true, 0.01}, object.speed);
        f.put({Little, at + 4, 0, 12, true, 0.05}, object.azimuth);
        f.putRaw({Little, at + 5, 4, 3}, kind);
        f.putFloat({Little, at + 8, 0, 32}, object.age);
    }
}

/// What the radar sees, and what it knows of the car.
void radar(Frame& f, const Car& car, std::uint64_t n) {
    f.putRaw({Little, 0, 0, 8}, n);
    f.putRaw({Little, 1, 0, 4}, (car.objects[0].present ? 1 : 0) + (car.objects[1].present ? 1 : 0));
    putObject(f, 4, car.objects[0], 1);
    putObject(f, 28, car.objects[1], 2);
    f.put({Big, 56, 7, 16, false, 0.01}, car.speed * 3.6);
    f.put({Little, 58, 0, 48, false, 0.000001}, car.time);
}

/// Accelerations and yaw rate: CAN FD with a 29-bit identifier, though only 8 bytes.
void inertia(Frame& f, const Car& car, std::uint64_t n) {
    f.put({Little, 0, 0, 16, true, 0.001}, car.direction * car.acceleration);
    f.put({Little, 2, 0, 16, true, 0.001}, car.lateralAcceleration);
    f.put({Little, 4, 0, 16, true, 0.01}, car.yawRate);
    f.putRaw({Little, 6, 0, 8}, n);
}

/// Pages within pages. The low half of byte 0 says what it is about; for the tyres (0) the high half says
/// which one.
void monitor(Frame& f, const Car& car, std::uint64_t n) {
    constexpr double coldPressures[] = {2.42, 2.38, 2.21, 2.24};
    const std::uint64_t page = n % 7;
    const std::uint64_t group = page < 4 ? 0 : page - 3;
    f.putRaw({Little, 0, 0, 4}, group);
    if (group == 0) {
        f.putRaw({Little, 0, 4, 4}, page);
        f.put({Little, 1, 0, 12, false, 0.01}, coldPressures[page] + 0.01 * (car.tyre - 12));
        f.put({Little, 3, 0, 8, false, 1, -40}, car.tyre);
    } else if (group == 1) {
        f.put({Little, 1, 0, 16, false, 0.001}, car.voltage - 0.12);
    } else { // fault memory: one fault is stored (2), none is pending (3)
        f.putRaw({Little, 1, 0, 24}, group == 2 ? 0x0128 : 0);
        f.putRaw({Little, 4, 0, 8}, group == 2 ? 1 : 0);
    }
}

/// While the starter draws the voltage down, the bus controller sees stuff errors (bits of SocketCAN's error
/// frames: protocol violation, bus error; kind of violation in byte 2).
void stuffError(Frame& f, const Car& car, std::uint64_t /*n*/) {
    f.data[2] = 0x04;
    f.kind = car.engine == EngineState::Cranking ? Error : NotSent;
}

constexpr Sender onBody[] = {
    {0x3B3, Data, false, 2, 100, 40, // one bit a door, and the central locking
     [](Frame& f, const Car& car, std::uint64_t) {
         f.putFlag(0, 0, car.driver.driverDoorOpen);
         f.putRaw({Little, 1, 0, 2}, car.locked ? 1 : 0);
     }},
    {0x3B4, Data, false, 2, 50, 20, light},
    {0x3C0, Data, false, 4, 200, 60, climate},
    {0x2A0, FdData, false, 64, 50, 10, radar},
    {0x18FF0B10, FdData, true, 8, 20, 0, inertia},
    {0x4A0, Data, false, 8, 50, 30, monitor},
    {0x555, Data, false, 3, 200, 80, // a heartbeat that no DBC describes
     [](Frame& f, const Car&, std::uint64_t n) {
         f.data = {static_cast<std::uint8_t>(n), 0, 0xA5};
     }},
    {0x088, Error, false, 8, 400, 0, stuffError},
};

/// How long the frame occupies its bus, in nanoseconds, stuff bits left out: 500 kbit/s, the data of a CAN FD
/// frame 2 Mbit/s.
unsigned duration(const Frame& f) {
    const unsigned payloadBits = 8U * f.length;
    const unsigned headBits = f.extended ? 67 : 47;
    if (f.kind == FdData) {
        return (headBits - 17) * 2000 + (payloadBits + 45) * 500;
    }
    return (headBits + (f.kind == Remote ? 0 : payloadBits)) * 2000;
}

} // namespace

Traffic::Traffic(std::uint64_t seed, std::uint64_t start, unsigned load)
    : model(seed), start(start),
      load(load), buses{{0, onPowertrain, std::vector<std::uint64_t>(std::size(onPowertrain))},
                        {1, onBody, std::vector<std::uint64_t>(std::size(onBody))}} {}

std::span<const Frame> Traffic::next() {
    model.step(0.01 / load);
    const std::uint64_t tickStart = time();
    frames.clear();
    for (Bus& bus : buses) {
        sendAll(bus, tickStart);
    }
    std::ranges::stable_sort(frames, {}, &Frame::microseconds);
    ++tick;
    return frames;
}

/// A bus sends the frames of a tick one after another, a little late each time.
void Traffic::sendAll(Bus& bus, std::uint64_t tickStart) {
    std::uint64_t nanoseconds = 0;
    for (std::size_t i = 0; i < bus.senders.size(); ++i) {
        const Sender& sender = bus.senders[i];
        if (tick < sender.phase / 10 || (tick - sender.phase / 10) % (sender.period / 10) != 0) {
            continue;
        }
        Frame f;
        f.bus = bus.number;
        f.kind = sender.kind;
        f.extended = sender.extended;
        f.id = sender.id;
        f.length = sender.length;
        sender.fill(f, model.car, bus.sent[i]++);
        if (f.kind != NotSent) {
            nanoseconds += duration(f) + static_cast<unsigned>(20000 * (1 + model.noise()));
            f.microseconds = tickStart + nanoseconds / 1000 / load;
            frames.push_back(f);
        }
    }
}

} // namespace drive

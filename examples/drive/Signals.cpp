#include "Signals.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>

namespace drive {
namespace {

std::vector<Reading> readingsOf(const Car& car) {
    const Phase& driver = car.driver;
    const auto& [ahead, oncoming] = car.objects;
    const double economy = car.fuelRate > 0 ? car.speed * 3.6 / car.fuelRate : 125.5;
    const double tyreWarming = 0.01 * (car.tyre - 12); // bar
    const double lux = driver.tunnel ? 150 : 18000.0 / (1 + driver.rain);
    const double pitch = 2.4 * car.direction * car.acceleration;
    const double roll = 3.1 * car.lateralAcceleration;
    return {
        // Powertrain
        {"Engine.Speed Gateway.EngineSpeed", car.engineSpeed},
        {"Engine.Torque Gateway.Torque", car.engineTorque},
        {"Engine.Throttle", car.throttle},
        {"Engine.Turning", car.engineSpeed > 400},
        {"Engine.State", car.engine},
        {"EngineTemperature.Coolant Gateway.Coolant", car.coolant},
        {"EngineTemperature.Oil Gateway.Oil", car.oil},
        {"Gear.Lever", driver.lever},
        {"Gear.ConverterLocked", car.converterLocked},
        {"Gear.Current Journey.Gear", car.gear},
        {"Gear.OutputSpeed", car.outputSpeed},
        {"Gear.Shifting", car.shifting},
        {"Gear.OilTemperature", car.gearOil},
        {"Gear.Ratio", car.gearRatio},
        {"Fuel.Consumed", car.fuelConsumed},
        {"FuelEconomy.Rate", car.fuelRate},
        {"FuelEconomy.Instantaneous", std::min(economy, 125.5)},
        {"Tank.Level", car.fuel / 52 * 100},
        {"Tank.Range", car.fuel / 6.2 * 100},
        {"Battery.Voltage Energy.Voltage", car.voltage},
        {"Battery.Current Energy.Current", car.current},
        {"Ambient.Pressure", 98.6},
        {"Ambient.Air", car.air},
        {"Maintenance.Page", [](std::uint64_t n) { return n % 3; }},
        {"Maintenance.OilLife", 64 - car.fuelConsumed / 40},
        {"Maintenance.DistanceUntilNextScheduledInspection", 55000 - car.odometer / 1000},
        {"Maintenance.OperatingHours", car.operatingHours},
        {"Maintenance.Starts", car.starts},
        {"Maintenance.Serial", 0x20240318A51207}, // a date and a serial number
        // Movement
        {"Vehicle.Speed Radar.EgoSpeed Chassis.Speed Journey.Speed", car.speed * 3.6},
        {"Vehicle.Moving", car.speed > 0},
        {"Vehicle.Odometer Journey.Odometer", car.odometer / 1000},
        {"Vehicle.Acceleration Inertia.Longitudinal Motion.Longitudinal", car.direction * car.acceleration},
        {"Inertia.Lateral Motion.Lateral", car.lateralAcceleration},
        {"Inertia.YawRate Motion.YawRate", car.yawRate},
        {"Wheel.FrontLeft Rotation.FrontLeft", car.wheelSpeed[0] * 3.6},
        {"Wheel.FrontRight Rotation.FrontRight", car.wheelSpeed[1] * 3.6},
        {"Wheel.RearLeft Rotation.RearLeft", car.wheelSpeed[2] * 3.6},
        {"Wheel.RearRight Rotation.RearRight", car.wheelSpeed[3] * 3.6},
        {"Brake.Pressure", car.brakePressure},
        {"Brake.PedalPressed Light.Brake", car.brakePressure > 1},
        {"Brake.AbsActive", car.acceleration < -6},
        {"Steering.Angle", car.steeringWheel},
        {"Steering.Rate", car.steeringRate},
        {"Damper.FrontLeft", pitch + roll},
        {"Damper.FrontRight", pitch - roll},
        {"Damper.RearLeft", -pitch + roll},
        {"Damper.RearRight", -pitch - roll},
        {"Chassis.Height", 140 - 0.25 * car.speed},
        {"Chassis.Mode", !car.isOn()        ? 0
                         : driver.rain >= 2 ? 2
                                            : 1},
        {"Chassis.BrakeTorque", 14.6 * car.brakePressure},
        // Body
        {"Door.DriverOpen", driver.driverDoorOpen},
        {"Door.PassengerOpen Door.RearLeftOpen Door.RearRightOpen Door.TailgateOpen", false},
        {"Door.Locking", car.locked},
        {"Light.Position Window.ChildLock", car.isOn()},
        {"Light.LowBeam", car.isOn() && !driver.highBeam},
        {"Light.HighBeam", driver.highBeam},
        {"Light.Reverse", driver.lever == Lever::Reverse},
        {"Light.TurnLeft", driver.turn == Turn::Left && car.lampsFlash},
        {"Light.TurnRight", driver.turn == Turn::Right && car.lampsFlash},
        {"Light.TurnSwitch", driver.turn},
        {"Window.Driver", driver.window},
        {"Window.RearLeft", driver.rain == 1 ? 2 : 0}, // closed when it drips in
        {"RainLight.Ambient", lux},
        {"RainLight.Rain", driver.rain},
        {"RainLight.LampsWanted", lux < 1000},
        {"RainLight.Forward", 0.6 * lux},
        {"Seat.Position", car.seatPosition},
        {"Seat.Backrest", car.backrest},
        {"Seat.Heating", car.isOn() ? (21.5 - car.cabin) / 3 : 0},
        {"Climate.Cabin", car.cabin},
        {"Climate.Fan", !car.isOn()      ? 0
                        : car.cabin < 19 ? 5
                                         : 2},
        {"Climate.SetPoint", 21.5},
        {"Climate.Compressor", car.isOn() && car.coolant > 60},
        // Four tyres, the supply, stored faults, of which there is one, and pending faults: none
        {"Monitor.Group", [](std::uint64_t n) { return n % 7 < 4 ? 0 : n % 7 - 3; }},
        {"Monitor.Tyre", [](std::uint64_t n) { return n % 7; }},
        {"Monitor.FrontLeftPressure", 2.42 + tyreWarming},
        {"Monitor.FrontRightPressure", 2.38 + tyreWarming},
        {"Monitor.RearLeftPressure", 2.21 + tyreWarming},
        {"Monitor.RearRightPressure", 2.24 + tyreWarming},
        {"Monitor.FrontLeftTemperature Monitor.FrontRightTemperature "
         "Monitor.RearLeftTemperature Monitor.RearRightTemperature",
         car.tyre},
        {"Monitor.SupplyVoltage", car.voltage - 0.12},
        {"Monitor.FaultCode", [](std::uint64_t n) -> std::uint64_t { return n % 7 == 5 ? 0x0128 : 0; }},
        {"Monitor.FaultCount", [](std::uint64_t n) -> std::uint64_t { return n % 7 == 5 ? 1 : 0; }},
        // Surroundings
        {"Radar.Clock", car.time},
        {"Radar.ObjectCount", ahead.present + oncoming.present},
        {"Radar.AheadDistance", ahead.distance},
        {"Radar.AheadSpeed", ahead.speed},
        {"Radar.AheadAzimuth", ahead.azimuth},
        {"Radar.AheadKind", ahead.present ? 1 : 0},
        {"Radar.AheadAge", ahead.age},
        {"Radar.OncomingDistance", oncoming.distance},
        {"Radar.OncomingSpeed", oncoming.speed},
        {"Radar.OncomingAzimuth", oncoming.azimuth},
        {"Radar.OncomingKind", oncoming.present ? 2 : 0},
        {"Radar.OncomingAge", oncoming.age},
        {"Camera.Curvature", car.speed > 1 ? car.lateralAcceleration / (car.speed * car.speed) : 0},
        {"Camera.Visibility", driver.tunnel ? 90 : 600 / (1.0 + driver.rain)},
        {"Camera.Tunnel", driver.tunnel},
        // Of the frames themselves
        {"Engine.Counter Brake.Counter Steering.Counter Radar.Counter Inertia.Counter",
         [](std::uint64_t n) { return n; }},
        {"Engine.Checksum", 0}, // made of the finished frame
    };
}

std::uint16_t startbitOf(const rksignal::SignalDefinition& signal, std::size_t position) {
    const auto startbit = [position](const auto& record) {
        if constexpr (requires { record.positions; }) { // FlexRay, Ethernet
            return record.positions[std::min(position, record.positions.size() - 1)].startBit;
        } else {
            return record.startbit;
        }
    };
    return std::visit(startbit, signal.record);
}

/// The place of a signal's `i`th bit, counted from its lowest. Definitions count places as 8 * byte + bit,
/// and name the lowest bit of a little-endian signal, the highest of a big-endian one.
std::size_t placeOf(const Layout::Field& field, std::size_t i) {
    const baseSignalDef_t& signal = field.definition->common();
    return signal.endian ? ((field.startbit ^ 7U) + signal.bits - 1 - i) ^ 7 : field.startbit + i;
}

/// The raw number nearest to a physical value, or the nearest one that the signal can hold.
std::uint64_t rawOf(double physical, const baseSignalDef_t& signal) {
    if (signal.type == signalValue_t::Float) {
        return std::bit_cast<std::uint32_t>(static_cast<float>(physical));
    }
    if (signal.type == signalValue_t::Double) {
        return std::bit_cast<std::uint64_t>(physical);
    }
    const bool isSigned = signal.type == signalValue_t::Signed;
    const double range = static_cast<double>(std::uint64_t{1} << (signal.bits - (isSigned ? 1 : 0)));
    const double steps = std::floor((physical - signal.offset) / signal.scale + 0.5);
    return static_cast<std::uint64_t>(
        static_cast<std::int64_t>(std::clamp(steps, isSigned ? -range : 0.0, range - 1)));
}

} // namespace

Bytes& Bytes::big(std::uint64_t number, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return *this;
}

Bytes& Bytes::little(std::uint64_t number, int count) {
    for (int shift = 0; shift < 8 * count; shift += 8) {
        push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return *this;
}

Bytes& Bytes::add(const std::vector<std::uint8_t>& bytes) {
    insert(end(), bytes.begin(), bytes.end());
    return *this;
}

Signals::Signals() : readings(readingsOf({})) {
    catalog.addDbc(DRIVE_DEFINITIONS "/drive.dbc", 0);
    catalog.addDbc(DRIVE_DEFINITIONS "/body.dbc", 1);
    catalog.addJson(DRIVE_DEFINITIONS "/logger.json");
}

void Signals::read(const Car& car) {
    readings = readingsOf(car);
}

Layout Signals::layout(std::initializer_list<std::string_view> names, std::size_t position) const {
    Layout layout;
    for (const rksignal::MessageDefinition& message : catalog.messages()) {
        for (const rksignal::SignalDefinition& signal : message.signals) {
            const std::string& instance = signal.common().instance;
            if (std::ranges::any_of(names, [&](auto name) { return instance.starts_with(name); })) {
                layout.message = &message;
                layout.unused = message.extended && !message.canFd ? 0xFF : 0;
                layout.fields.push_back({&signal, startbitOf(signal, position), readingOf(instance)});
                const std::size_t first = placeOf(layout.fields.back(), 0);
                const std::size_t last = placeOf(layout.fields.back(), signal.common().bits - 1U);
                layout.length =
                    std::max({layout.length, std::size_t{message.length}, first / 8 + 1, last / 8 + 1});
            }
        }
    }
    if (layout.message == nullptr) {
        throw std::runtime_error("no signals are defined for " + std::string(*names.begin()));
    }
    return layout;
}

std::size_t Signals::readingOf(const std::string& instance) const {
    const auto reading = std::ranges::find_if(readings, [&](const Reading& each) {
        return (' ' + std::string(each.signals) + ' ').find(' ' + instance + ' ') != std::string::npos;
    });
    if (reading == readings.end()) {
        throw std::runtime_error("there is no reading of " + instance);
    }
    return static_cast<std::size_t>(reading - readings.begin());
}

std::uint64_t Signals::raw(const Layout::Field& field, std::uint64_t n) const {
    const auto& value = readings[field.reading].value;
    if (const double* const measured = std::get_if<double>(&value)) {
        return rawOf(*measured, field.definition->common());
    }
    const Counted* const counted = std::get_if<Counted>(&value);
    return counted ? (*counted)(n) : std::get<std::uint64_t>(value);
}

Bytes Signals::encode(const Layout& layout, std::uint64_t n) const {
    Bytes bytes(layout.length, layout.unused);
    for (const Layout::Field& field : layout.fields) {
        if (const auto& multiplexing = field.definition->multiplexing) {
            const std::uint64_t selected = raw(layout.fields[*multiplexing->multiplexer], n);
            if (std::ranges::none_of(multiplexing->ranges, [selected](const rksignal::ValueRange& range) {
                    return range.first <= selected && selected <= range.second;
                })) {
                continue;
            }
        }
        const std::uint64_t bits = raw(field, n);
        for (std::size_t i = 0; i < field.definition->common().bits; ++i) {
            const std::size_t place = placeOf(field, i);
            const auto mask = static_cast<std::uint8_t>(1U << place % 8);
            std::uint8_t& byte = bytes[place / 8];
            byte = static_cast<std::uint8_t>(bits >> i & 1 ? byte | mask : byte & ~mask);
        }
    }
    return bytes;
}

} // namespace drive

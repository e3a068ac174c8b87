#include "Inputs.h"

#include <cmath>
#include <iterator>

namespace drive {

namespace {

/// Levels by number of the input, from 1 on.
constexpr bool (*digitalInputs[])(const VehicleState& car) = {
    [](const VehicleState& car) { return car.driver.ignition != Ignition::Off; },
    // The trailer's plug is loose: a sharp curve to the right opens its contact.
    [](const VehicleState& car) { return car.lateralAcceleration > -2.2; },
    [](const VehicleState& car) { return car.driver.driverDoorOpen; },
};

struct AnalogInput {
    std::uint16_t number;
    std::int8_t exponent; ///< a measurement is an integer times 10 to this power
    double resolution;    ///< 10 to the power -exponent
    double (*measure)(const VehicleState& car);
};

constexpr AnalogInput analogInputs[] = {
    {1, -3, 1000, [](const VehicleState& car) { return car.voltage; }}, // V
    {2, -2, 100, // bar of oil pressure, less when the oil is hot
     [](const VehicleState& car) { return std::min(5.2, 0.0012 * car.engineSpeed * (1.9 - car.oil / 100)); }},
    {3, -3, 1000, [](const VehicleState& car) { return car.lateralAcceleration / 9.80665; }}, // g
    {4, -1, 10, // kPa in the intake manifold
     [](const VehicleState& car) { return car.engineSpeed > 400 ? 32 + 0.65 * car.throttle : 98.6; }},
};

struct KeyEvent {
    unsigned milliseconds; ///< since the start of the round
    std::int32_t key;
    std::int32_t value;
};

constexpr std::uint64_t roundMicroseconds = 300000000;
constexpr std::int32_t f1 = 1;
constexpr std::int32_t trigger = 16;
enum KeyValue : std::int32_t { Released, Pressed, PressedLong };

constexpr KeyEvent keyEvents[] = {
    {21400, f1, Pressed},        {21620, f1, Released},      {88210, trigger, Pressed},
    {88450, trigger, Released},  {151030, trigger, Pressed}, {152030, trigger, PressedLong},
    {152780, trigger, Released}, {199340, trigger, Pressed}, {199510, trigger, Released},
    {262170, f1, Pressed},       {262400, f1, Released},
};

} // namespace

void DigitalInputs::observe(const VehicleState& car, std::uint64_t now, Recorder& recorder) {
    static_assert(std::size(digitalInputs) == std::tuple_size_v<decltype(levels)>);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const bool level = digitalInputs[i](car);
        if (levels[i] != level) {
            levels[i] = level;
            const auto number = static_cast<std::uint16_t>(i + 1);
            recorder.add(GpioTraceMessage{.timestamp = now * 1000,
                                          .elements = {{number, static_cast<std::uint16_t>(level), 1}}});
        }
    }
}

void AnalogInputs::observe(const VehicleState& car, std::uint64_t now, Recorder& recorder) {
    if (!measurement.isDue(now)) {
        return;
    }
    for (const auto& [number, exponent, resolution, measure] : analogInputs) {
        const double steps = std::floor(measure(car) * resolution + noise() + 0.5);
        recorder.add(AnalogTraceMessage{.timestamp = (now + std::uint64_t{250} * number) * 1000,
                                        .elements = {{number, static_cast<std::int32_t>(steps), exponent}}});
    }
}

void RemoteControl::observe(std::uint64_t now, Recorder& recorder) {
    for (;;) {
        const KeyEvent& event = keyEvents[next];
        const std::uint64_t due = roundStart + std::uint64_t{1000} * event.milliseconds;
        if (now < due) {
            return;
        }
        recorder.add(KeyboardMessage{.timestamp = now * 1000, .keyCode = event.key, .value = event.value});
        if (++next == std::size(keyEvents)) {
            next = 0;
            roundStart += roundMicroseconds;
        }
    }
}

} // namespace drive

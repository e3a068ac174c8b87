#include "Source.h"

#include <cmath>
#include <iterator>

namespace drive {
namespace {

/// By number of the input, from 1 on.
constexpr bool (*digitalInputs[])(const Car& car) = {
    [](const Car& car) { return car.isOn(); },
    // The trailer's plug is loose: a sharp curve to the right opens its contact.
    [](const Car& car) { return car.lateralAcceleration > -2.2; },
    [](const Car& car) { return car.driver.driverDoorOpen; },
};

/// A measurement is an integer times 10 to the power of the exponent.
constexpr struct {
    std::int8_t exponent;
    double resolution; ///< 10 to the power -exponent
    double (*measure)(const Car& car);
} analogInputs[] = {
    {-3, 1000, [](const Car& car) { return car.voltage; }}, // V
    {-2, 100,                                               // bar of oil pressure, less when the oil is hot
     [](const Car& car) { return std::min(5.2, 0.0012 * car.engineSpeed * (1.9 - car.oil / 100)); }},
    {-3, 1000, [](const Car& car) { return car.lateralAcceleration / 9.80665; }}, // g
    {-1, 10, // kPa in the intake manifold
     [](const Car& car) { return car.engineSpeed > 400 ? 32 + 0.65 * car.throttle : 98.6; }},
};

/// Somebody beside the driver presses keys (0 released, 1 pressed, 2 pressed long), the same ones in every
/// round.
constexpr struct {
    unsigned milliseconds; ///< since the start of the round
    std::int32_t key, value;
} keys[] = {{21400, 1, 1},   {21620, 1, 0},   {88210, 16, 1},  {88450, 16, 0},
            {151030, 16, 1}, {152030, 16, 2}, {152780, 16, 0}, {199340, 16, 1},
            {199510, 16, 0}, {262170, 1, 1},  {262400, 1, 0}};
constexpr std::uint64_t roundMicroseconds = 300000000;

/// Reports a level when it changes.
struct DigitalInputs : Source {
    DigitalInputs() : Source(0) {}

    void send(const Tick& tick) override {
        for (std::uint16_t i = 0; i < std::size(digitalInputs); ++i) {
            const bool level = digitalInputs[i](tick.car);
            if (levels[i] != level) {
                levels[i] = level;
                const auto number = static_cast<std::uint16_t>(i + 1);
                tick.output.record(
                    GpioTraceMessage{.timestamp = tick.now * 1000, .elements = {{number, level, 1}}});
            }
        }
    }

    int levels[std::size(digitalInputs)] = {-1, -1, -1}; // as last reported
};

struct AnalogInputs : Source {
    explicit AnalogInputs(std::uint64_t seed) : Source(100), noise(seed) {}

    void send(const Tick& tick) override {
        std::uint16_t number = 0;
        for (const auto& [exponent, resolution, measure] : analogInputs) {
            ++number;
            const double steps = std::floor(measure(tick.car) * resolution + noise() + 0.5);
            tick.output.record(
                AnalogTraceMessage{.timestamp = (tick.now + std::uint64_t{250} * number) * 1000,
                                   .elements = {{number, static_cast<std::int32_t>(steps), exponent}}});
        }
    }

    Noise noise;
};

struct RemoteControl : Source {
    explicit RemoteControl(std::uint64_t start) : Source(0), roundStart(start) {}

    void send(const Tick& tick) override {
        while (tick.now >= roundStart + std::uint64_t{1000} * keys[next].milliseconds) {
            const auto& [milliseconds, key, value] = keys[next];
            tick.output.record(KeyboardMessage{.timestamp = tick.now * 1000, .keyCode = key, .value = value});
            next = (next + 1) % std::size(keys);
            roundStart += next == 0 ? roundMicroseconds : 0;
        }
    }

    std::uint64_t roundStart;
    std::size_t next = 0; // key of the round
};

/// What the logger says about itself.
struct LoggerStatus : Source {
    explicit LoggerStatus(std::uint64_t start) : Source(1000), start(start) {}

    void send(const Tick& tick) override {
        enum { Ok = 0, NoSynchronisation = 2, Warning = 3 };
        const std::uint64_t seconds = (tick.now - start) / 1000000, timestamp = tick.now * 1000;
        // The internal memory is full to 64 % and takes 1 % more every 5 s. When there is no room left, all
        // but 20 % moves to the external memory, which is exchanged for an empty one when it is full.
        const std::uint64_t filled = seconds / 5 % 1000000 + 44;
        const std::uint64_t internal = 20 + filled % 80, external = (70 + 12 * (filled / 80)) % 100;
        if (seconds == 0) {
            tick.output.record(SystemMessage(timestamp, SystemMessage::Start, "1"));
        }
        tick.output.record(SystemMessage(timestamp, SystemMessage::Timer, std::to_string(seconds)));
        // GPS sets the clock after 4 s.
        const int current = seconds < 4 ? NoSynchronisation : internal >= 90 ? Warning : Ok;
        if (current != status) {
            status = current;
            tick.output.record(SystemMessage(timestamp, SystemMessage::Status, std::to_string(status)));
        }
        if (seconds % 5 == 0) {
            constexpr std::uint8_t absent = 255;
            tick.output.record(SystemUsageMessage(timestamp, static_cast<std::uint8_t>(internal),
                                                  static_cast<std::uint8_t>(external), absent));
        }
    }

    std::uint64_t start;
    int status = -1; // as last reported
};

} // namespace

void addLogger(Sources& sources, std::uint64_t seed, std::uint64_t start) {
    sources.push_back(std::make_unique<DigitalInputs>());
    sources.push_back(std::make_unique<AnalogInputs>(seed));
    sources.push_back(std::make_unique<RemoteControl>(start));
    sources.push_back(std::make_unique<LoggerStatus>(start));
}

} // namespace drive

// Do the demo's drive and its two DBC files agree? The car obeys laws that neither of them writes down: a
// wrong start bit, byte order, sign or factor on either side breaks one of them.

#include "DecodedDrive.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace {

constexpr double pi = 3.14159265358979;

constexpr double from = DecodedDrive::forwardsFrom;
constexpr double to = DecodedDrive::forwardsTo;

TEST(DriveMotion, OdometerCountsSpeedOverTime) {
    const double travelled = drive("Vehicle.Odometer").at(to) - drive("Vehicle.Odometer").at(from);
    EXPECT_GT(travelled, 3);
    EXPECT_NEAR(travelled, drive("Vehicle.Speed").integral(from, to) / 3600, 0.002);
}

TEST(DriveMotion, SpeedSumsUpAcceleration) {
    for (const double end : {40.0, 75.0, 110.0, 160.0, 200.0, 255.0}) {
        const double gained = drive("Vehicle.Speed").at(end) - drive("Vehicle.Speed").at(from);
        EXPECT_NEAR(drive("Vehicle.Acceleration").integral(from, end) * 3.6, gained, 0.5) << end;
        EXPECT_NEAR(drive("Inertia.Longitudinal").integral(from, end) * 3.6, gained, 0.5) << end;
    }
}

/// A wheel of 0.316 m radius turns 8.394 times a minute per km/h; the final drive multiplies this by 3.46.
TEST(DriveMotion, EngineTurnsWithTheWheelsWhileTheConverterIsLocked) {
    constexpr double rpmPerKmh[] = {0, 121.14, 67.96, 44.18, 33.20, 25.18, 20.07}; // by gear
    std::set<int> gears;
    for (const Sample& gear : drive("Gear.Current").between(from, to)) {
        const double speed = drive("Vehicle.Speed").at(gear.time);
        ASSERT_NEAR(drive("Gear.OutputSpeed").at(gear.time), 29.044 * speed, 5) << gear.time;
        if (drive("Gear.ConverterLocked").at(gear.time) != 0) {
            ASSERT_TRUE(gear.raw >= 1 && gear.raw <= 6) << gear.time;
            const double engine = drive("Engine.Speed").at(gear.time);
            const double output = drive("Gear.OutputSpeed").at(gear.time);
            ASSERT_NEAR(engine, rpmPerKmh[gear.raw] * speed, 0.01 * engine) << gear.time;
            ASSERT_NEAR(engine, output * drive("Gear.Ratio").at(gear.time), 0.01 * engine) << gear.time;
            gears.insert(static_cast<int>(gear.raw));
        }
    }
    EXPECT_THAT(gears, testing::ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(DriveMotion, EachChangeOfGearTakesFourTenthsOfASecond) {
    const Series gears = drive("Gear.Current").between(from, to);
    std::size_t changes = 0;
    for (std::size_t i = 1; i < gears.size(); ++i) {
        ASSERT_LE(std::abs(gears[i].value - gears[i - 1].value), 1) << gears[i].time;
        changes += gears[i].raw != gears[i - 1].raw ? 1 : 0;
    }
    EXPECT_GT(changes, 15U);
    EXPECT_NEAR(drive("Gear.Shifting").integral(from, to), 0.4 * static_cast<double>(changes), 0.5);
}

/// The pedal counts as pressed above 1 bar, and switches the brake lamp. A force of 121 N brakes with 1 bar.
TEST(DriveMotion, BrakesSlowDown) {
    double greatest = 0;
    std::int64_t still = 0;
    for (const Sample& pressure : drive("Brake.Pressure")) {
        const bool isPressed = drive("Brake.PedalPressed").at(pressure.time) != 0;
        ASSERT_EQ(isPressed, pressure.value > (isPressed ? 0.9 : 1)) << pressure.time;
        const double speed = drive("Vehicle.Speed").at(pressure.time);
        // A speed below 0.005 km/h shows as 0.
        ASSERT_GE(drive("Vehicle.Moving").at(pressure.time) != 0, speed > 0) << pressure.time;
        still += drive("Vehicle.Moving").at(pressure.time) == 0 ? 1 : 0;
        if (speed > 10) {
            const double force = -1480 * drive("Vehicle.Acceleration").at(pressure.time);
            ASSERT_LE(pressure.value * 121, std::max(force, 0.0) + 130) << pressure.time;
            greatest = std::max(greatest, pressure.value);
        }
    }
    EXPECT_NEAR(greatest, 27.8, 1);
    const Series& speed = drive("Vehicle.Speed");
    const auto atZero =
        std::count_if(speed.begin(), speed.end(), [](const Sample& sample) { return sample.value == 0; });
    EXPECT_LE(std::abs(still - atZero), 20);
    for (const Sample& lamp : drive("Light.Brake").between(0.1, DecodedDrive::seconds)) {
        const double now = drive("Brake.Pressure").at(lamp.time);
        const double before = drive("Brake.Pressure").at(lamp.time - 0.05);
        if (std::min(now, before) > 2 || std::max(now, before) < 0.5) {
            ASSERT_EQ(lamp.value, now > 2 ? 1 : 0) << lamp.time;
        }
    }
}

TEST(DriveMotion, OuterWheelsTurnFaster) {
    for (const Sample& sample : drive("Steering.Angle").between(from, to)) {
        const double left = drive("Wheel.RearLeft").at(sample.time);
        const double right = drive("Wheel.RearRight").at(sample.time);
        const double front =
            (drive("Wheel.FrontLeft").at(sample.time) + drive("Wheel.FrontRight").at(sample.time)) / 2;
        const double speed = drive("Vehicle.Speed").at(sample.time);
        ASSERT_NEAR((left + right) / 2, speed, 0.25) << sample.time;
        ASSERT_NEAR(front, speed, 0.01 * speed + 0.25) << sample.time;
        if (std::abs(sample.value) > 60 && speed > 8) {
            ASSERT_EQ(sample.value > 0, right > left) << sample.time;
        }
    }
}

/// Turning at the rate w with speed v takes the lateral acceleration v * w.
TEST(DriveMotion, LateralAccelerationIsSpeedTimesYawRate) {
    double greatest = 0;
    for (const Sample& sample : drive("Inertia.Lateral").between(from, to)) {
        const double yawRate = drive("Inertia.YawRate").at(sample.time) * pi / 180;
        const double speed = drive("Vehicle.Speed").at(sample.time) / 3.6;
        ASSERT_NEAR(sample.value, speed * yawRate, 0.05) << sample.time;
        greatest = std::max(greatest, std::abs(sample.value));
    }
    EXPECT_GT(greatest, 2);
}

TEST(DriveMotion, SteeringRateIsTheChangeOfTheAngle) {
    for (const double start : {14.0, 46.0, 117.0, 165.0, 273.0}) {
        const double turned = drive("Steering.Angle").at(start + 3) - drive("Steering.Angle").at(start);
        EXPECT_NEAR(drive("Steering.Rate").integral(start, start + 3), turned, 6) << start;
    }
}

TEST(DriveMotion, ConsumedFuelIsTheRateOverTime) {
    const double consumed = drive("Fuel.Consumed").at(to) - drive("Fuel.Consumed").at(from);
    EXPECT_GT(consumed, 0.2);
    EXPECT_NEAR(drive("FuelEconomy.Rate").integral(from, to) / 3600, consumed, 0.005);
    for (const Sample& economy : drive("FuelEconomy.Instantaneous").between(from, to)) {
        const double rate = drive("FuelEconomy.Rate").at(economy.time);
        if (rate > 2) {
            const double speed = drive("Vehicle.Speed").at(economy.time);
            ASSERT_NEAR(economy.value * rate, speed, 0.02 * speed + 0.3) << economy.time;
        }
    }
    // The tank holds 52 l.
    const double used = drive("Tank.Level").front().value - drive("Tank.Level").back().value;
    EXPECT_NEAR(used / 100 * 52, drive("Fuel.Consumed").back().value, 0.3);
}

/// What is known of single moments: the script of the drive, the state that the car starts in, and what a
/// constant speed of 98 km/h takes: 0.372 * v^2 + 160 N at a wheel radius of 0.316 m are 62.6 Nm in sixth
/// gear at an efficiency of 0.92; with 1967 rpm these are 12.9 kW, for which the engine burns 5.5 l/h.
TEST(DriveMotion, Moments) {
    const struct {
        const char* instance;
        double time, value, tolerance;
    } moments[] = {
        {"Ambient.Air", 2, 12, 0},
        {"Ambient.Pressure", 2, 98.6, 0.25},
        {"Battery.Current", 3, 2, 0.5},
        {"Battery.Current", 9.9, 185, 20},
        {"Battery.Current", 100, -6, 0.6},
        {"Battery.Voltage", 3, 12.5, 0.1},
        {"Battery.Voltage", 9.9, 10.1, 0.4},
        {"Battery.Voltage", 100, 14.2, 0.1},
        {"Brake.Pressure", 86, 18, 0.1},
        {"Climate.Cabin", 1, 12, 0},
        {"Climate.Compressor", 200, 0, 0},
        {"Climate.Compressor", 239, 1, 0},
        {"Climate.Fan", 3, 0, 0},
        {"Climate.Fan", 100, 5, 0},
        {"Climate.Fan", 239, 2, 0},
        {"Climate.SetPoint", 100, 21.5, 0},
        {"Door.DriverOpen", 2, 1, 0},
        {"Door.DriverOpen", 60, 0, 0},
        {"Door.DriverOpen", 302, 1, 0},
        {"Door.Locking", 20, 0, 0},
        {"Door.Locking", 60, 1, 0},
        {"Engine.Torque", 235, 62.6, 0.2},
        {"EngineTemperature.Coolant", 2, 12, 0},
        {"EngineTemperature.Coolant", to, 67, 5},
        {"EngineTemperature.Oil", 2, 12, 0},
        {"EngineTemperature.Oil", to, 57, 5},
        {"FuelEconomy.Rate", 235, 5.5, 0.1},
        {"Gear.Lever", 2, 0, 0},
        {"Gear.Lever", 18, 1, 0},
        {"Gear.Lever", 60, 3, 0},
        {"Gear.Lever", 289, 2, 0},
        {"Gear.OilTemperature", 2, 12, 0},
        {"Gear.OilTemperature", to, 39, 4},
        {"Light.HighBeam", 150, 1, 0},
        {"Light.HighBeam", 170, 0, 0},
        {"Light.LowBeam", 150, 0, 0},
        {"Light.LowBeam", 170, 1, 0},
        {"Light.Position", 2, 0, 0},
        {"Light.Position", 150, 1, 0},
        {"Maintenance.OilLife", 2, 64, 0},
        {"Maintenance.OperatingHours", 2, 1204.3, 0.001},
        {"Maintenance.Starts", 5, 3127, 0},
        {"Maintenance.Starts", to, 3128, 0},
        {"Tank.Level", 2, 79, 0},
        {"Tank.Range", 2, 661, 0},
    };
    for (const auto& [instance, time, value, tolerance] : moments) {
        EXPECT_NEAR(drive(instance).at(time), value, tolerance + 1e-9) << instance << " at " << time;
    }
}

TEST(DriveMotion, ReversingLampGoesWithTheLever) {
    for (const Sample& lamp : drive("Light.Reverse").between(0.1, DecodedDrive::seconds)) {
        const double lever = drive("Gear.Lever").at(lamp.time);
        if (lever == drive("Gear.Lever").at(lamp.time - 0.05)) {
            EXPECT_EQ(lamp.raw == 1, lever == 1) << lamp.time;
        }
    }
    const Series reversing = drive("Gear.Current").between(16, 22);
    ASSERT_FALSE(reversing.empty());
    EXPECT_EQ(reversing.front().text, "Reverse");
    EXPECT_EQ(reversing.front().value, -1);
}

/// A lamp of the indicators is lit for half of the time in which its side is switched on.
TEST(DriveMotion, IndicatorsFlash) {
    const std::pair<const char*, const char*> sides[] = {{"Light.TurnLeft", "Left"},
                                                         {"Light.TurnRight", "Right"}};
    const Series& switched = drive("Light.TurnSwitch");
    for (const auto& [lamp, side] : sides) {
        double on = 0;
        double lit = 0;
        for (std::size_t i = 0; i < switched.size(); ++i) {
            const bool isOn = switched[i].text == side;
            on += isOn ? 1 : 0;
            lit += drive(lamp)[i].value;
            ASSERT_TRUE(isOn || drive(lamp)[i].value == 0) << lamp << " at " << switched[i].time;
        }
        EXPECT_GT(on, 100) << lamp;
        EXPECT_NEAR(lit / on, 0.5, 0.06) << lamp;
    }
}

} // namespace

// The demo's drive: what the program decodes of everything that make_drive records is a car that obeys laws
// which neither the generator nor the definitions write down. A wrong start bit, byte order, sign or factor
// on either side breaks one of them.

#include "Command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

namespace {

using Series = std::map<double, double>; ///< values by time in s since the start of the drive

/// One round of the drive cycle and the beginning of the next.
struct RecordedDrive {
    std::map<std::string, Series> series; ///< by instance
    /// By instance of a signal with texts, every change: ` 21.40 Pressed, 21.62 Released,`
    std::map<std::string, std::string> stories;
    unsigned backwardSteps = 0; ///< rows from before the one in front of them
};

RecordedDrive decodeRecords() {
    RecordedDrive drive;
    std::istringstream rows(decodedDrive("--records -", ".*"));
    double last = 0;
    for (std::string row, time, channel, bus, instance, value, unit, raw, text; std::getline(rows, row);) {
        std::istringstream cells(row);
        for (std::string* cell : {&time, &channel, &bus, &instance, &value, &unit, &raw}) {
            std::getline(cells, *cell, ',');
        }
        std::getline(cells, text);
        const double now = std::stod(time);
        drive.backwardSteps += now < last ? 1 : 0;
        last = now;
        drive.series[instance][now] = std::stod(value);
        std::string& story = drive.stories[instance];
        if (const std::string news = ' ' + text + ','; !text.empty() && !story.ends_with(news)) {
            story += ' ' + time.substr(0, time.find('.') + 3) + news;
        }
    }
    return drive;
}

const RecordedDrive& recordedDrive() {
    static const RecordedDrive drive = decodeRecords();
    return drive;
}

const Series& series(const std::string& instance) {
    return recordedDrive().series.at(instance);
}

/// The last value until then.
double at(const Series& series, double time) {
    return std::prev(series.upper_bound(time))->second;
}

/// By the trapezoidal rule.
double integral(const std::string& instance, double from, double to) {
    const Series& rates = series(instance);
    double sum = 0;
    for (auto sample = std::next(rates.lower_bound(from)); sample->first < to; ++sample) {
        const auto before = std::prev(sample);
        sum += (sample->second + before->second) / 2 * (sample->first - before->first);
    }
    return sum;
}

TEST(Drive, RatesSumUpToWhatTheyChange) {
    const struct {
        const char* rate;
        double factor;
        const char* sum;
        double tolerance;
    } laws[] = {{"Vehicle.Speed", 1 / 3600.0, "Vehicle.Odometer", 0.002},
                {"Vehicle.Acceleration", 3.6, "Vehicle.Speed", 0.5},
                {"Inertia.Longitudinal", 3.6, "Vehicle.Speed", 0.5},
                {"Steering.Rate", 1, "Steering.Angle", 6},
                {"FuelEconomy.Rate", 1 / 3600.0, "Fuel.Consumed", 0.005},
                {"Radar.AheadSpeed", 1, "Radar.AheadDistance", 0.5}};
    for (const auto& [rate, factor, sum, tolerance] : laws) {
        for (const double end : {46.0, 75.0, 165.0, 255.0}) {
            EXPECT_NEAR(integral(rate, 30, end) * factor, at(series(sum), end) - at(series(sum), 30),
                        tolerance)
                << sum << end;
        }
    }
}

/// The greatest curvature is that of 220 and 150 degrees at the steering wheel, with a ratio of 15.5 and a
/// wheel base of 2.65 m. The car sinks by 1 mm for each 4 m/s; without its update bit it would be 511.5 mm
/// high.
TEST(Drive, StaysInItsRanges) {
    const struct {
        const char* instance;
        double least, greatest, tolerance;
    } rows[] = {{"RainLight.Ambient", 150, 18000, 0},
                {"RainLight.Forward", 90, 10800, 0},
                {"Seat.Position", 165, 210, 1e-9},
                {"Seat.Backrest", -6, 21.5, 1e-9},
                {"Oil.Pressure", 0, 5.2, 0.02},
                {"Intake.Pressure", 32, 97.8, 1},
                {"Chassis.Height", 132.5, 140, 0.25},
                {"Camera.Curvature", -0.0935, 0.0637, 0.0005},
                {"Camera.Visibility", 90, 600, 0},
                {"Logger.Timer", 0, 309, 0},
                {"Logger.IntMemory", 20, 99, 0},
                {"Logger.ExtMemory", 70, 82, 0},
                {"GPS.Altitude", 84, 84, 3},
                {"GPS.Satellites", 4, 11, 0},
                {"Seat.Heating", 0, 3, 0},
                {"Window.RearLeft", 0, 2, 0}};
    for (const auto& [instance, least, greatest, tolerance] : rows) {
        const auto [low, high] =
            std::ranges::minmax_element(series(instance), {}, &Series::value_type::second);
        EXPECT_NEAR(low->second, least, tolerance) << instance;
        EXPECT_NEAR(high->second, greatest, tolerance) << instance;
    }
    EXPECT_EQ(recordedDrive().backwardSteps, 0U);
    EXPECT_EQ(series("Chassis.Height").size(), 31000U / 8);
    EXPECT_EQ(at(series("Chassis.BrakeTorque"), 290), 262.75); // held by 18 bar
    EXPECT_EQ(at(series("GPS.Time"), 100.1), 140);             // h, min and s are two digits each
    EXPECT_EQ(at(series("GPS.Date"), 100.1), 10170);
}

TEST(Drive, IsTheSameOnEveryBus) {
    const struct {
        const char *instance, *canInstance;
        double tolerance;
    } rows[] = {
        // clang-format off
        {"Supply.Voltage", "Battery.Voltage", 0.15}, {"Motion.Longitudinal", "Inertia.Longitudinal", 0.1},
        {"Energy.Voltage", "Battery.Voltage", 0.15}, {"Motion.Lateral", "Inertia.Lateral", 0.6},
        {"Energy.Current", "Battery.Current", 2}, {"Motion.YawRate", "Inertia.YawRate", 2},
        {"Rotation.FrontLeft", "Wheel.FrontLeft", 0.35}, {"Rotation.FrontRight", "Wheel.FrontRight", 0.35},
        {"Rotation.RearLeft", "Wheel.RearLeft", 0.35}, {"Rotation.RearRight", "Wheel.RearRight", 0.35},
        {"Gateway.EngineSpeed", "Engine.Speed", 150}, {"Gateway.Torque", "Engine.Torque", 50},
        {"Gateway.Coolant", "EngineTemperature.Coolant", 1}, {"Gateway.Oil", "EngineTemperature.Oil", 1},
        {"Journey.Gear", "Gear.Current", 2}, {"Journey.Odometer", "Vehicle.Odometer", 0.002},
        {"Journey.Speed", "Vehicle.Speed", 0.35}, {"Chassis.Speed", "Vehicle.Speed", 0.35},
        {"GPS.Speed", "Vehicle.Speed", 0.9},
        // clang-format on
    };
    for (const auto& [instance, canInstance, tolerance] : rows) {
        // While the engine runs: the starter lets the voltage drop in no time.
        for (auto sample = series(instance).upper_bound(12); sample->first < 290; ++sample) {
            const auto [time, value] = *sample;
            EXPECT_NEAR(value, at(series(canInstance), time), tolerance) << instance << ' ' << time;
        }
    }
}

/// It dips where it brakes, and leans out of the curve.
TEST(Drive, DampersTellHowTheBodyLeans) {
    for (const auto& [time, frontLeft] : series("Damper.FrontLeft")) {
        const double frontRight = series("Damper.FrontRight").at(time);
        EXPECT_NEAR(frontLeft + frontRight, 4.8 * at(series("Inertia.Longitudinal"), time), 0.5) << time;
        EXPECT_NEAR(frontLeft - frontRight, 6.2 * at(series("Inertia.Lateral"), time), 4) << time;
        EXPECT_NEAR(frontLeft, -series("Damper.RearRight").at(time), 1e-9) << time;
        EXPECT_NEAR(frontRight, -series("Damper.RearLeft").at(time), 1e-9) << time;
    }
}

TEST(Drive, PositionFollowsSpeedAndCourse) {
    constexpr double radian = 3.14159265358979323846 / 180;
    constexpr double metresPerDegree = 6371000 * radian;
    const double latitude = at(series("GPS.Latitude"), 20);
    double north = latitude;
    double east = at(series("GPS.Longitude"), 20);
    for (auto now = series("GPS.Course").upper_bound(20); now->first < 160; ++now) {
        const double metres = series("GPS.Speed").at(now->first) / 3.6 * (now->first - std::prev(now)->first);
        north += metres * std::cos(now->second * radian) / metresPerDegree;
        east += metres * std::sin(now->second * radian) / metresPerDegree / std::cos(latitude * radian);
        EXPECT_NEAR(series("GPS.Latitude").at(now->first), north, 8 / metresPerDegree) << now->first;
        EXPECT_NEAR(series("GPS.Longitude").at(now->first), east, 8 / metresPerDegree) << now->first;
    }
}

/// The times are those of the script: of its phases, of the keys, of a memory that fills by 1 % in 5 s.
TEST(Drive, FollowsTheScript) {
    const std::pair<const char*, const char*> rows[] = {
        {"Input.Ignition", " 0.00 Off, 7.00 On, 292.99 Off, 306.99 On,"},
        {"Input.Trailer", " 0.00 Plugged, 172.11 Unplugged, 180.00 Plugged,"},
        {"Input.DriverDoor", " 0.00 Open, 4.00 Closed, 295.99 Open, 303.99 Closed,"},
        {"Logger.Status", " 0.00 NoSync, 4.00 OK, 130.00 Warning, 180.00 OK,"},
        {"GPS.Status", " 0.06 Void, 2.66 Active, 164.06 Void, 182.66 Active,"},
        {"RC.F1", " 21.40 Pressed, 21.62 Released, 262.17 Pressed, 262.40 Released,"},
        {"RC.TRG", " 88.21 Pressed, 88.45 Released, 151.03 Pressed, 152.03 Pressed long, 152.78 Released,"
                   " 199.34 Pressed, 199.51 Released,"},
        {"RainLight.Rain",
         " 0.00 Dry, 122.00 Drizzle, 142.00 Rain, 164.00 Dry, 180.00 Downpour, 190.00 Drizzle,"
         " 193.04 Dry,"},
        {"RainLight.LampsWanted", " 0.00 No, 164.00 Yes, 180.00 No,"},
        {"Window.Driver", " 0.02 None, 40.02 \"Down, automatic\", 44.02 None, 111.02 Up, 117.02 None,"},
        {"Window.ChildLock", " 0.02 Open, 7.02 Locked, 293.02 Open, 307.02 Locked,"},
        {"Camera.Tunnel", " 0.00 No, 164.00 Yes, 180.00 No,"},
        {"Chassis.Mode", " 0.03 Off, 7.07 Comfort, 142.03 Grip, 164.03 Comfort, 180.03 Grip, 190.03 Comfort,"
                         " 292.99 Off, 306.99 Comfort,"},
    };
    for (const auto& [instance, story] : rows) {
        EXPECT_EQ(recordedDrive().stories.at(instance), story) << instance;
    }
}

} // namespace

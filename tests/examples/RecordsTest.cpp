// What make_drive records beside the CAN log: decoded with definitions that were written independently of it,
// the messages tell the same drive as the CAN frames.

#include "Command.h"
#include "RecordedDrive.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

namespace {

const RecordedDrive& drive() {
    static const RecordedDrive drive;
    return drive;
}

double at(const Series& series, double time) {
    return std::prev(series.upper_bound(time))->second;
}

TEST(Records, HoldEveryDataFrameAndKeepTheOrderOfTime) {
    EXPECT_EQ(drive().unusable, 0U);
    EXPECT_EQ(drive().backwardSteps, 0U);
    const std::string dataFrames =
        runCommand(MAKE_DRIVE " 2>/dev/null --seconds 310 | grep -c -v -e '#R' -e ' 20000088#'").output;
    EXPECT_EQ(std::to_string(drive().canRecords) + "\n", dataFrames);
}

TEST(Records, HaveTheRangesOfTheDrive) {
    const struct {
        const char* instance;
        double least, greatest, tolerance;
    } rows[] = {
        {"RainLight.Ambient", 150, 18000, 0},
        {"RainLight.Rain", 0, 3, 0},
        {"RainLight.LampsWanted", 0, 1, 0},
        {"RainLight.Forward", 90, 10800, 0},
        {"Window.Driver", 0, 4, 0},
        {"Window.RearLeft", 0, 2, 0},
        {"Window.ChildLock", 0, 1, 0},
        {"Seat.Position", 165, 210, 1e-9},
        {"Seat.Backrest", -6, 21.5, 1e-9},
        {"Seat.Heating", 0, 3, 0},
        {"Supply.Voltage", 10.1, 14.3, 0.2},
        {"Oil.Pressure", 0, 5.2, 0.02},
        {"Lateral.Acceleration", -0.26, 0.245, 0.02},
        {"Intake.Pressure", 32, 97.8, 1},
        {"Logger.Start", 1, 1, 0},
        {"Logger.Timer", 0, 309, 0},
        {"Logger.IntMemory", 20, 99, 0},
        {"Logger.ExtMemory", 70, 82, 0},
        {"GPS.Altitude", 84, 84, 3},
        {"GPS.Satellites", 4, 11, 0},
    };
    for (const auto& [instance, least, greatest, tolerance] : rows) {
        const auto [low, high] = std::ranges::minmax_element(
            drive().series.at(instance), {}, [](const auto& sample) { return sample.second; });
        EXPECT_NEAR(low->second, least, tolerance) << instance;
        EXPECT_NEAR(high->second, greatest, tolerance) << instance;
    }
}

TEST(Records, AgreeWithWhatTheCarSaysOnCan) {
    const struct {
        const char* instance;
        const char* canInstance;
        double delay, tolerance;
    } rows[] = {
        {"GPS.Speed", "Vehicle.Speed", 0.06, 0.35},
        {"Supply.Voltage", "Battery.Voltage", 0, 0.15},
    };
    for (const auto& [instance, canInstance, delay, tolerance] : rows) {
        const Series& series = drive().series.at(instance);
        // While the engine runs: the starter lets the voltage drop in no time.
        for (auto sample = series.upper_bound(12); sample->first < 290; ++sample) {
            const auto [time, value] = *sample;
            EXPECT_NEAR(value, at(drive().series.at(canInstance), time - delay), tolerance)
                << instance << ' ' << time;
        }
    }
}

/// Speed and course, summed up, lead from one position to another, before the tunnel and behind it.
TEST(Records, PositionFollowsSpeedAndCourse) {
    constexpr double radian = 3.14159265358979323846 / 180;
    constexpr double metresPerDegree = 6371000 * radian;
    const Series& courses = drive().series.at("GPS.Course");
    const Series& speeds = drive().series.at("GPS.Speed");
    const Series& latitudes = drive().series.at("GPS.Latitude");
    const Series& longitudes = drive().series.at("GPS.Longitude");
    for (const auto& [from, to] : {std::pair(20, 100), {100, 160}, {185, 300}}) {
        double north = 0;
        double east = 0;
        for (auto now = courses.upper_bound(from); now->first < to; ++now) {
            const double metres = speeds.at(now->first) / 3.6 * (now->first - std::prev(now)->first);
            north += metres * std::cos(now->second * radian);
            east += metres * std::sin(now->second * radian);
        }
        const double eastPerDegree = metresPerDegree * std::cos(at(latitudes, from) * radian);
        EXPECT_NEAR((at(latitudes, to) - at(latitudes, from)) * metresPerDegree, north, 8) << to;
        EXPECT_NEAR((at(longitudes, to) - at(longitudes, from)) * eastPerDegree, east, 8) << to;
        EXPECT_GT(std::hypot(north, east), 300);
    }
}

/// The times are those of the script: of its phases, of the keys, of a memory that fills by 1 % in 5 s.
TEST(Records, TellTheStoryOfTheDrive) {
    const auto isFromLin = [](const std::string& event) {
        return event.find(" RainLight.") != event.npos || event.find(" Window.") != event.npos ||
               event.find(" Seat.") != event.npos;
    };
    std::string story;
    for (const std::string& event : drive().events) {
        story += isFromLin(event) ? "" : event + '\n';
    }
    EXPECT_EQ(story, R"(0.00 Input.Ignition Off
0.00 Input.Trailer Plugged
0.00 Input.DriverDoor Open
0.00 Logger.Status NoSync
0.06 GPS.Status Void
2.66 GPS.Status Active
4.00 Input.DriverDoor Closed
4.00 Logger.Status OK
7.00 Input.Ignition On
21.40 RC.F1 Pressed
21.62 RC.F1 Released
88.21 RC.TRG Pressed
88.45 RC.TRG Released
130.00 Logger.Status Warning
151.03 RC.TRG Pressed
152.03 RC.TRG Pressed long
152.78 RC.TRG Released
164.06 GPS.Status Void
172.11 Input.Trailer Unplugged
180.00 Input.Trailer Plugged
180.00 Logger.Status OK
182.66 GPS.Status Active
199.34 RC.TRG Pressed
199.51 RC.TRG Released
262.17 RC.F1 Pressed
262.40 RC.F1 Released
292.99 Input.Ignition Off
295.99 Input.DriverDoor Open
303.99 Input.DriverDoor Closed
306.99 Input.Ignition On
)");
    const auto beforeTunnel = std::prev(drive().series.at("GPS.Speed").lower_bound(164.05));
    EXPECT_NEAR(beforeTunnel->first, 163.86, 1e-6);
    EXPECT_NEAR(std::next(beforeTunnel)->first, 182.66, 1e-6);
}

/// UTC, to the second, in the record file; and a leap day, with checksums, as text.
TEST(Records, SentencesTellTheTime) {
    for (const auto& [time, clock] : drive().series.at("GPS.Time")) {
        const int seconds = static_cast<int>(time - 0.059);
        EXPECT_EQ(clock, seconds / 60 * 100 + seconds % 60) << time;
        EXPECT_EQ(drive().series.at("GPS.Date").at(time), 10170);
    }
    const std::string leapDay =
        runCommand(MAKE_DRIVE " 2>/dev/null --seconds 0.1 --start 1709251199 --nmea -").output;
    EXPECT_EQ(leapDay, "$GNRMC,235959.00,V,,,,,,,290224,,,N*6D\r\n"
                       "$GNGGA,235959.00,,,,,0,00,99.9,,,,,,*40\r\n");
}

} // namespace

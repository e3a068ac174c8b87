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

/// Interpolated between samples.
double at(const Series& series, double time) {
    const auto after = series.upper_bound(time);
    const auto before = std::prev(after == series.end() ? std::prev(after) : after);
    const double part = (time - before->first) / (std::next(before)->first - before->first);
    return before->second + part * (std::next(before)->second - before->second);
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
        {"Oil.Pressure", 0, 4.7, 0.5},
        {"Lateral.Acceleration", -0.26, 0.21, 0.03},
        {"Intake.Pressure", 32, 97.8, 1},
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
        {"Supply.Voltage", "Battery.Voltage", 0, 0.25},
    };
    for (const auto& [instance, canInstance, delay, tolerance] : rows) {
        for (const auto& [time, value] : drive().series.at(instance)) {
            EXPECT_NEAR(value, at(drive().series.at(canInstance), time - delay), tolerance)
                << instance << time;
        }
    }
}

/// Speed and course, summed up, lead from each position to the next.
TEST(Records, PositionFollowsSpeedAndCourse) {
    constexpr double radian = 3.14159265358979323846 / 180;
    constexpr double metresPerDegree = 6371000 * radian;
    const auto& series = drive().series;
    double north = 0;
    double east = 0;
    const Series& courses = series.at("GPS.Course");
    const double latitude = series.at("GPS.Latitude").at(courses.begin()->first);
    const double longitude = series.at("GPS.Longitude").at(courses.begin()->first);
    for (auto last = courses.begin(), now = std::next(last); now != courses.end(); last = now++) {
        const auto& [time, course] = *now;
        const double metres = series.at("GPS.Speed").at(time) / 3.6 * (time - last->first);
        const double turn = std::remainder(course - last->second, 360);
        north += metres * std::cos((course - turn / 2) * radian);
        east += metres * std::sin((course - turn / 2) * radian);
        EXPECT_NEAR((series.at("GPS.Latitude").at(time) - latitude) * metresPerDegree, north, 25) << time;
        EXPECT_NEAR((series.at("GPS.Longitude").at(time) - longitude) * metresPerDegree *
                        std::cos(latitude * radian),
                    east, 25)
            << time;
    }
    EXPECT_GT(north, 2500);
}

TEST(Records, TellTheStoryOfTheDrive) {
    const auto isOneOf = [](const std::string& event) {
        return event.find(" RC.") != event.npos || event.find(" Input.") != event.npos ||
               event.find("Status") != event.npos || event.find("Start") != event.npos;
    };
    std::vector<std::string> story;
    std::ranges::copy_if(drive().events, std::back_inserter(story), isOneOf);
    EXPECT_THAT(story, testing::ElementsAre("?"));
}

TEST(Sentences, AreThoseOfTheRecordsAsText) {
    const std::string text =
        runCommand(MAKE_DRIVE " 2>/dev/null --seconds 0.1 --start 1709164799 --nmea /dev/stdout").output;
    EXPECT_EQ(text, "$GNRMC,235959.00,V,,,,,,,280224,,,N*6C\r\n$GNGGA,235959.00,,,,,0,00,99.9,,,,,,*40\r\n");
    std::string gps;
    for (const auto& [time, clock] : drive().series.at("GPS.Time")) {
        const int seconds = static_cast<int>(time - 0.06 + 0.001);
        ASSERT_EQ(clock, seconds / 60 * 100 + seconds % 60) << time;
        ASSERT_EQ(drive().series.at("GPS.Date").at(time), 10170);
    }
}

} // namespace

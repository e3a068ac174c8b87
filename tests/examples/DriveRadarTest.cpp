// What the radar of the demo's car sees agrees with how the car moves.

#include "DecodedDrive.h"

#include <gmock/gmock.h>

#include <utility>

namespace {

constexpr double pi = 3.14159265358979;

TEST(DriveRadar, RadarFollowsTheCarAhead) {
    const Series& distance = drive("Radar.AheadDistance");
    for (const double start : {30.0, 75.0, 120.0, 200.0, 250.0}) {
        EXPECT_NEAR(drive("Radar.AheadSpeed").integral(start, start + 20),
                    distance.at(start + 20) - distance.at(start), 0.5)
            << start;
    }
}

/// On an arc of the curvature k, an object at the distance d is seen under the angle k * d / 2.
TEST(DriveRadar, CarAheadIsOnTheArcThatTheCarDrives) {
    const std::pair<double, double> curves[] = {{46, 50}, {164, 172}, {172, 180}, {200, 236}};
    for (const auto& [start, end] : curves) {
        double expected = 0;
        for (const Sample& yawRate : drive("Inertia.YawRate").between(start, end)) {
            const double speed = drive("Vehicle.Speed").at(yawRate.time) / 3.6;
            const double distance = drive("Radar.AheadDistance").at(yawRate.time);
            expected += yawRate.value / speed * distance / 2 * 0.02; // every 20 ms
        }
        EXPECT_NEAR(drive("Radar.AheadAzimuth").integral(start, end) / expected, 1, 0.05) << start;
    }
}

TEST(DriveRadar, OncomingCarsPass) {
    const Series& speeds = drive("Radar.OncomingSpeed");
    const Series& distances = drive("Radar.OncomingDistance");
    const Series& ages = drive("Radar.OncomingAge");
    std::size_t seen = 0;
    for (std::size_t i = 1; i < speeds.size(); ++i) {
        const double time = speeds[i].time;
        const bool isThere = drive("Radar.ObjectCount").at(time) == 2;
        ASSERT_EQ(isThere ? "Truck" : "None", drive("Radar.OncomingKind")[i].text) << time;
        ASSERT_EQ(isThere, distances[i].value > 0) << time;
        if (isThere && distances[i - 1].value > 0) {
            const double passed = time - speeds[i - 1].time;
            ASSERT_NEAR(-speeds[i].value * 3.6, drive("Radar.EgoSpeed").at(time) + 50, 0.1) << time;
            ASSERT_NEAR(distances[i].value - distances[i - 1].value, speeds[i].value * passed, 0.05) << time;
            ASSERT_NEAR(ages[i].value - ages[i - 1].value, passed, 0.001) << time;
            // It passes at 3.5 m to the left.
            const double azimuth = drive("Radar.OncomingAzimuth").at(time) * pi / 180;
            ASSERT_NEAR(azimuth * distances[i].value, 3.5, 0.1) << time;
            ++seen;
        }
    }
    EXPECT_GT(seen, 1500U);
}

TEST(DriveRadar, RadarKnowsSpeedAndTime) {
    for (const Sample& sample : drive("Radar.EgoSpeed")) {
        if (sample.time > 0.1) {
            ASSERT_NEAR(sample.value, drive("Vehicle.Speed").at(sample.time), 0.2) << sample.time;
        }
        ASSERT_NEAR(drive("Radar.Clock").at(sample.time), sample.time, 0.02);
        ASSERT_EQ(drive("Radar.AheadKind").at(sample.time), 1);
        ASSERT_NEAR(drive("Radar.AheadAge").at(sample.time), sample.time, 0.02);
    }
}

} // namespace

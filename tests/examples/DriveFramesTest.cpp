// The frames of the demo's drive, whatever they say: counters, checksums, pages, ranges.

#include "DecodedDrive.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <regex>
#include <set>

namespace {

TEST(DriveFrames, CountersCountEveryFrame) {
    const std::map<std::string, std::int64_t> counters{{"Engine.Counter", 16},
                                                       {"Brake.Counter", 16},
                                                       {"Steering.Counter", 16},
                                                       {"Radar.Counter", 256},
                                                       {"Inertia.Counter", 256}};
    for (const auto& [name, modulus] : counters) {
        const Series& counter = drive(name);
        ASSERT_GT(counter.size(), 1000U) << name;
        for (std::size_t i = 0; i < counter.size(); ++i) {
            ASSERT_EQ(counter[i].raw, static_cast<std::int64_t>(i) % modulus) << name << ' ' << i;
        }
    }
}

/// Puts the bytes of the engine's frames together again from the values.
TEST(DriveFrames, EngineChecksumMatchesTheOtherBytes) {
    const auto byte = [](std::int64_t raw, int number) { return raw >> (8 * number) & 0xFF; };
    const Series& speed = drive("Engine.Speed");
    for (std::size_t i = 0; i < speed.size(); ++i) {
        const auto raw = [i](const std::string& name) { return drive("Engine." + name)[i].raw; };
        const std::int64_t state = raw("State") << 1 | raw("Turning");
        const std::int64_t sum = byte(raw("Speed"), 1) ^ byte(raw("Speed"), 0) ^ byte(raw("Torque"), 1) ^
                                 byte(raw("Torque"), 0) ^ raw("Throttle") ^ state ^ raw("Counter");
        ASSERT_EQ(sum, raw("Checksum")) << speed[i].time;
    }
}

/// Pages that take turns: each value comes from its own page only.
TEST(DriveFrames, PagesOfTheServiceFrame) {
    const Series& distance = drive("Maintenance.DistanceUntilNextScheduledInspection");
    for (const Sample& sample : distance) {
        ASSERT_NEAR(sample.value + drive("Vehicle.Odometer").at(sample.time), 55000, 0.2);
    }
    const std::size_t frames = drive("Maintenance.Page").size();
    for (const char* name : {"OilLife", "OperatingHours", "Starts", "Serial"}) {
        EXPECT_NEAR(static_cast<double>(drive(std::string("Maintenance.") + name).size()),
                    static_cast<double>(frames) / 3, 1)
            << name;
    }
    for (const Sample& sample : drive("Maintenance.Serial")) {
        ASSERT_EQ(sample.raw, 0x20240318A51207);
    }
}

TEST(DriveFrames, PagesWithinPagesOfTheMonitor) {
    const std::map<std::string, double> coldPressures{
        {"FrontLeft", 2.42}, {"FrontRight", 2.38}, {"RearLeft", 2.21}, {"RearRight", 2.24}};
    const auto frames = static_cast<double>(drive("Monitor.Group").size());
    for (const auto& [tyre, cold] : coldPressures) {
        const Series& pressure = drive("Monitor." + tyre + "Pressure");
        EXPECT_NEAR(static_cast<double>(pressure.size()), frames / 7, 1) << tyre;
        EXPECT_NEAR(pressure.front().value, cold, 0.011) << tyre;
        EXPECT_EQ(drive("Monitor." + tyre + "Temperature").front().value, 12) << tyre;
        for (const Sample& sample : pressure) {
            ASSERT_TRUE(cold - 0.02 < sample.value && sample.value < cold + 0.2) << tyre << sample.value;
        }
    }
    EXPECT_NEAR(static_cast<double>(drive("Monitor.Tyre").size()), frames * 4 / 7, 2);
    for (const Sample& sample : drive("Monitor.SupplyVoltage").between(20, 280)) {
        ASSERT_NEAR(sample.value, drive("Battery.Voltage").at(sample.time) - 0.12, 0.05) << sample.time;
    }
    std::set<std::string> faults;
    for (const Sample& code : drive("Monitor.FaultCode")) {
        faults.insert(code.text);
        ASSERT_EQ(drive("Monitor.FaultCount").at(code.time), code.raw == 0x128 ? 1 : 0) << code.time;
    }
    EXPECT_THAT(faults, testing::ElementsAre("None", "P0128 Coolant thermostat"));
}

/// The climate unit's first frames are 2 bytes long: they hold no set point.
TEST(DriveFrames, ShortFramesGiveNoValues) {
    EXPECT_LT(drive("Climate.Cabin").front().time, 0.2);
    EXPECT_GT(drive("Climate.SetPoint").front().time, 1);
}

/// Name and range of each signal of a DBC file, as its lines give them.
std::map<std::string, std::pair<double, double>> rangesOf(const std::string& file) {
    const std::regex message(R"(BO_ \d+ (\w+):.*)");
    const std::regex signal(R"( SG_ (\w+) .*\[([^|]+)\|([^\]]+)\].*)");
    std::ifstream lines(std::string(DRIVE_FOLDER "/") + file);
    std::map<std::string, std::pair<double, double>> ranges;
    std::string name;
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, message)) {
            name = match[1];
        } else if (std::regex_match(line, match, signal)) {
            ranges[name + "." + match[1].str()] = {std::stod(match[2]), std::stod(match[3])};
        }
    }
    return ranges;
}

TEST(DriveFrames, ValuesAreWithinTheirDefinedRanges) {
    auto ranges = rangesOf("drive.dbc");
    ranges.merge(rangesOf("body.dbc"));
    // The long name that an attribute gives.
    ranges["Maintenance.DistanceUntilNextScheduledInspection"] = ranges.at("Maintenance.DistToInspection");
    ranges.erase("Maintenance.DistToInspection");
    for (const auto& [name, series] : DecodedDrive::get().all()) {
        ASSERT_TRUE(ranges.contains(name)) << name;
        const auto [minimum, maximum] = ranges.at(name);
        for (const Sample& sample : series) {
            ASSERT_TRUE(minimum <= sample.value && sample.value <= maximum)
                << name << " = " << sample.value << " at " << sample.time;
        }
        ranges.erase(name);
    }
    // The only frame that is never sent.
    EXPECT_EQ(ranges.size(), 2U);
    EXPECT_TRUE(ranges.contains("Crash.Severity"));
}

} // namespace

// The demo's drive: what make_drive writes is the same everywhere, and what the program decodes of it is a
// car that obeys laws which neither the generator nor its DBC files write down. A wrong start bit, byte
// order, sign or factor on either side breaks one of them.

#include "Command.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <sstream>

namespace {

using Series = std::map<double, double>; ///< values by time in s since the start of the drive

/// One round of the drive cycle and the beginning of the next, decoded once. By instance.
const std::map<std::string, Series>& decodedDrive() {
    static const std::map<std::string, Series> drive = [] {
        std::istringstream lines(runCommand(MAKE_DRIVE
                                            " 2>/dev/null --seconds 310 --start 0 | " RKSIGNAL_PROGRAM
                                            " decode -q --dbc 0=" DRIVE_FOLDER
                                            "/drive.dbc --dbc 1=" DRIVE_FOLDER "/body.dbc -")
                                     .output);
        std::map<std::string, Series> series;
        std::string time, channel, instance, value, rest;
        std::getline(lines, rest);
        while (std::getline(lines, time, ',') && std::getline(lines, channel, ',') &&
               std::getline(lines, instance, ',') && std::getline(lines, value, ',') &&
               std::getline(lines, rest)) {
            series[instance][std::stod(time)] = std::stod(value);
        }
        return series;
    }();
    return drive;
}

double at(const std::string& instance, double time) {
    return std::prev(decodedDrive().at(instance).upper_bound(time))->second;
}

/// By the trapezoidal rule.
double integral(const std::string& instance, double from, double to) {
    const Series& series = decodedDrive().at(instance);
    double sum = 0;
    for (auto sample = std::next(series.lower_bound(from)); sample->first < to; ++sample) {
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
    } laws[] = {
        {"Vehicle.Speed", 1 / 3600.0, "Vehicle.Odometer", 0.002},
        {"Vehicle.Acceleration", 3.6, "Vehicle.Speed", 0.5},
        {"Inertia.Longitudinal", 3.6, "Vehicle.Speed", 0.5},
        {"Steering.Rate", 1, "Steering.Angle", 6},
        {"FuelEconomy.Rate", 1 / 3600.0, "Fuel.Consumed", 0.005},
        {"Radar.AheadSpeed", 1, "Radar.AheadDistance", 0.5},
    };
    for (const auto& [rate, factor, sum, tolerance] : laws) {
        for (const double end : {46.0, 75.0, 165.0, 255.0}) {
            EXPECT_NEAR(integral(rate, 30, end) * factor, at(sum, end) - at(sum, 30), tolerance)
                << sum << end;
        }
    }
}

std::string makeDrive(const std::string& options) {
    return runCommand(MAKE_DRIVE " 2>/dev/null " + options).output;
}

/// Whatever the compiler, its options and the machine. A change of the model changes the numbers.
TEST(MakeDrive, IsTheSameEverywhere) {
    EXPECT_EQ(digest(makeDrive("--seconds 310")), 15304155334799030295U);
    EXPECT_EQ(digest(makeDrive("--seconds 310 --records -")), 11991248098357588897U);
    EXPECT_NE(makeDrive("--seconds 10 --seed 2"), makeDrive("--seconds 10"));
    EXPECT_THAT(makeDrive("--hours 0.01"), testing::StartsWith(makeDrive("--seconds 20")));
    EXPECT_NEAR(static_cast<double>(makeDrive("--seconds 20 --load 10").size()),
                10 * static_cast<double>(makeDrive("--seconds 20").size()), 5000);
}

TEST(MakeDrive, RefusesWhatItCannotDo) {
    const std::pair<const char*, const char*> rows[] = {
        {"--output /nowhere/drive.log",
         "make_drive: cannot write /nowhere/drive.log: No such file or directory\n"},
        {"--output /dev/full", "make_drive: cannot write /dev/full: No space left on device\n"},
        {"--records /dev/full", "make_drive: cannot write /dev/full: No space left on device\n"},
        {"--output /dev/null --nmea /nowhere/drive.nmea",
         "make_drive: cannot write /nowhere/drive.nmea: No such file or directory\n"},
        {"--load 0", "--load: Value 0 not in range 1 to 100\nRun with --help for more information.\n"},
    };
    for (const auto& [options, message] : rows) {
        const CommandResult result = runCommand(MAKE_DRIVE " 2>&1 --seconds 1 " + std::string(options));
        EXPECT_EQ(result.output, message);
        EXPECT_EQ(result.status, 2) << options;
    }
}

} // namespace

#include "GpsReceiver.h"

#include "Digits.h"
#include "Motion.h"

#include <chrono>
#include <cmath>
#include <string>

namespace drive {

namespace {

/// The drive begins in the lake district of Chile: south, west, and right-hand traffic.
constexpr double startLatitude = -41.3212, startLongitude = -72.9871;
constexpr double metresPerDegreeNorth = 111195, metresPerDegreeEast = 83513; // on this latitude
constexpr double altitude = 84;                                              // m
constexpr double metresPerNauticalMile = 1852;
constexpr std::uint64_t latency = 60000; // microseconds from a fix to the end of its sentences

/// `value` is not negative.
void putFixed(std::string& text, double value, int decimals) {
    std::uint64_t scale = 1;
    for (int i = 0; i < decimals; ++i) {
        scale *= 10;
    }
    const auto units = static_cast<std::uint64_t>(std::floor(value * static_cast<double>(scale) + 0.5));
    text += std::to_string(units / scale);
    text += '.';
    putDecimal(text, units % scale, decimals);
}

/// Degrees and minutes in one number, and the hemisphere: `4119.27200,S,`.
void putAngle(std::string& text, double degrees, int digits, const char* hemispheres) {
    constexpr int decimals = 5;
    constexpr std::uint64_t unitsPerMinute = 100000;
    const auto units = static_cast<std::uint64_t>(
        std::floor(std::abs(degrees) * 60 * static_cast<double>(unitsPerMinute) + 0.5));
    putDecimal(text, units / unitsPerMinute / 60, digits);
    putDecimal(text, units / unitsPerMinute % 60, 2);
    text += '.';
    putDecimal(text, units % unitsPerMinute, decimals);
    text += ',';
    text += hemispheres[degrees < 0 ? 1 : 0];
    text += ',';
}

/// One moment, as the sentences say it.
struct Clock {
    std::string time; ///< `hhmmss.ss`
    std::string date; ///< `ddmmyy`
};

Clock clockAt(std::uint64_t microseconds) {
    using namespace std::chrono;
    Clock clock;
    const std::uint64_t seconds = microseconds / 1000000;
    putDecimal(clock.time, seconds / 3600 % 24, 2);
    putDecimal(clock.time, seconds / 60 % 60, 2);
    putDecimal(clock.time, seconds % 60, 2);
    clock.time += '.';
    putDecimal(clock.time, microseconds / 10000 % 100, 2);
    const year_month_day day{sys_days{days{seconds / 86400}}};
    putDecimal(clock.date, static_cast<unsigned>(day.day()), 2);
    putDecimal(clock.date, static_cast<unsigned>(day.month()), 2);
    putDecimal(clock.date, static_cast<std::uint64_t>(static_cast<int>(day.year())), 2);
    return clock;
}

/// `$`, the content, the exclusive or of its bytes, and the line end.
std::string sentence(const std::string& content) {
    unsigned checksum = 0;
    for (const char character : content) {
        checksum ^= static_cast<unsigned char>(character);
    }
    std::string text = '$' + content + '*';
    putHex(text, checksum, 2);
    return text + "\r\n";
}

/// What a fix tells. Angles in degrees.
struct Fix {
    double latitude, longitude, altitude;
    double speed, course; // m/s
    std::uint64_t satellites;
};

std::string positionText(const Fix& fix) {
    std::string text;
    putAngle(text, fix.latitude, 2, "NS");
    putAngle(text, fix.longitude, 3, "EW");
    return text;
}

std::string validSentences(const Clock& clock, const Fix& fix) {
    const std::string position = positionText(fix);
    std::string rmc = "GNRMC," + clock.time + ",A," + position;
    putFixed(rmc, fix.speed * 3600 / metresPerNauticalMile, 3);
    rmc += ',';
    putFixed(rmc, fix.course, 2);
    std::string gga = "GNGGA," + clock.time + ',' + position + "1,";
    putDecimal(gga, fix.satellites, 2);
    gga += ",0.9,";
    putFixed(gga, fix.altitude, 1);
    return sentence(rmc + ',' + clock.date + ",,,A") + sentence(gga + ",M,21.3,M,,");
}

std::string voidSentences(const Clock& clock, std::uint64_t satellites) {
    std::string gga = "GNGGA," + clock.time + ",,,,,0,";
    putDecimal(gga, satellites, 2);
    return sentence("GNRMC," + clock.time + ",V,,,,,,," + clock.date + ",,,N") +
           sentence(gga + ",99.9,,,,,,");
}

} // namespace

std::optional<GPSTraceMessage> GpsReceiver::observe(const VehicleState& car, std::uint64_t now) {
    if (!fix.isDue(now)) {
        return std::nullopt;
    }
    seeSatellites(car.driver.tunnel);
    move(car);
    const auto seen = static_cast<std::uint64_t>(satellites);
    const Clock clock = clockAt(now);
    const Fix told{.latitude = startLatitude + (car.north + errorNorth) / metresPerDegreeNorth,
                   .longitude = startLongitude + (car.east + errorEast) / metresPerDegreeEast,
                   .altitude = altitude + errorNorth,
                   .speed = speed,
                   .course = course,
                   .satellites = seen};
    constexpr std::uint64_t neededSatellites = 4;
    return GPSTraceMessage{.timestamp = (now + latency) * 1000,
                           .sentences = seen < neededSatellites ? voidSentences(clock, seen)
                                                                : validSentences(clock, told)};
}

void GpsReceiver::seeSatellites(bool inTunnel) {
    if (inTunnel) {
        satellites = 0;
    } else {
        approachAtRate(satellites, 10.5 + noise(), 0.3);
    }
}

/// The position is a little off, and the error wanders. Too slow a car has no course: the last one stands.
void GpsReceiver::move(const VehicleState& car) {
    approach(errorEast, 12 * noise(), 0.001 * interval, 20);
    approach(errorNorth, 12 * noise(), 0.001 * interval, 20);
    speed = std::abs(car.speed + 0.03 * noise());
    if (car.speed > 0.5) {
        const double backwards = car.direction < 0 ? 180 : 0;
        course = car.heading + backwards + 0.4 * noise();
        course += course < 0 ? 360 : course >= 360 ? -360 : 0;
    }
}

} // namespace drive

#include "Source.h"

#include <cmath>
#include <ctime>

namespace drive {
namespace {

/// `value`, which is not negative, with `decimals` of them.
std::string fixed(double value, int decimals) {
    const double scale = std::pow(10, decimals);
    const auto units = static_cast<std::uint64_t>(std::floor(value * scale + 0.5));
    return std::to_string(units / static_cast<std::uint64_t>(scale)) + '.' + digits(units, decimals);
}

/// Degrees and minutes in one number, and the hemisphere: `4119.27200,S,`.
std::string angle(double degrees, int count, const char* hemispheres) {
    constexpr std::uint64_t perMinute = 100000;
    const auto units = static_cast<std::uint64_t>(std::floor(std::abs(degrees) * 60 * perMinute + 0.5));
    return digits(units / perMinute / 60, count) + digits(units / perMinute % 60, 2) + '.' +
           digits(units, 5) + ',' + hemispheres[degrees < 0 ? 1 : 0] + ',';
}

/// `$`, the content, the exclusive or of its bytes, and the line end.
std::string sentence(const std::string& content) {
    unsigned checksum = 0;
    for (const char character : content) {
        checksum ^= static_cast<unsigned char>(character);
    }
    return '$' + content + '*' + digits(checksum, 2, 16) + "\r\n";
}

/// Says where the car is, in an RMC and a GGA sentence (NMEA 0183). It finds its first satellites in a few
/// seconds, and loses all of them in a tunnel; until it sees four, its sentences are void.
class GpsReceiver : public Source {
  public:
    explicit GpsReceiver(std::uint64_t seed) : Source(200), noise(seed) {}

  private:
    void send(const Tick& tick) override {
        // The drive begins in the lake district of Chile: south, west, and right-hand traffic.
        constexpr double startLatitude = -41.3212, startLongitude = -72.9871, altitude = 84; // degrees, m
        constexpr double metresPerDegreeNorth = 111195, metresPerDegreeEast = 83513; // on this latitude
        constexpr double metresPerNauticalMile = 1852;
        constexpr std::uint64_t latency = 60000; // from a fix to the end of its sentences
        if (tick.car.driver.tunnel) {
            satellites = 0;
        } else {
            approachAtRate(satellites, 10.5 + noise(), 0.3);
        }
        move(tick.car);
        const auto seconds = static_cast<std::time_t>(tick.now / 1000000);
        std::tm utc{};
        gmtime_r(&seconds, &utc);
        char clock[8], date[8];
        std::strftime(clock, sizeof clock, "%H%M%S.", &utc);
        std::strftime(date, sizeof date, "%d%m%y", &utc);
        const std::string time = clock + digits(tick.now / 10000, 2) + ',';
        const std::string seen = digits(static_cast<std::uint64_t>(satellites), 2);
        std::string sentences;
        if (satellites < 4) {
            sentences = sentence("GNRMC," + time + "V,,,,,,," + date + ",,,N") +
                        sentence("GNGGA," + time + ",,,,0," + seen + ",99.9,,,,,,");
        } else {
            const std::string position =
                angle(startLatitude + (tick.car.north + errorNorth) / metresPerDegreeNorth, 2, "NS") +
                angle(startLongitude + (tick.car.east + errorEast) / metresPerDegreeEast, 3, "EW");
            sentences =
                sentence("GNRMC," + time + "A," + position + fixed(speed * 3600 / metresPerNauticalMile, 3) +
                         ',' + fixed(course, 2) + ',' + date + ",,,A") +
                sentence("GNGGA," + time + position + "1," + seen + ",0.9," +
                         fixed(altitude + errorNorth, 1) + ",M,21.3,M,,");
        }
        tick.output.writeGps({.timestamp = (tick.now + latency) * 1000, .sentences = sentences});
    }

    /// The position is a little off, and the error wanders. Too slow a car has no course: the last one
    /// stands.
    void move(const Car& car) {
        approach(errorEast, 12 * noise(), 0.2, 20);
        approach(errorNorth, 12 * noise(), 0.2, 20);
        speed = std::abs(car.speed + 0.03 * noise());
        if (car.speed > 0.5) {
            course = car.heading + (car.direction < 0 ? 180 : 0) + 0.4 * noise();
            course += course < 0 ? 360 : course >= 360 ? -360 : 0;
        }
    }

    Noise noise;
    double satellites = 0;
    double errorEast = 0, errorNorth = 0; // m
    double speed = 0, course = 0;         // m/s and degrees from north, over ground
};

} // namespace

std::unique_ptr<Source> gpsReceiver(std::uint64_t seed) {
    return std::make_unique<GpsReceiver>(seed);
}

} // namespace drive

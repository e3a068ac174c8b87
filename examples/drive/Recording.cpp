#include "Recording.h"

#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>

namespace drive {

void Recorder::writeBefore(std::uint64_t time) {
    for (; !pending.empty() && pending.begin()->first < time * 1000; ++written) {
        writer.write(pending.begin()->second);
        pending.erase(pending.begin());
    }
}

// --- the logger's inputs and status ---

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

enum Status { Ok = 0, NoSynchronisation = 2, Warning = 3 };
constexpr std::uint64_t usageInterval = 5; // s, in which the internal memory fills by 1 %
constexpr unsigned emptied = 20;           // %, of the internal memory

/// How full the memories are, in percent. The internal one begins with 64 %; the external one is exchanged
/// for an empty one when it is full.
std::pair<unsigned, unsigned> usageAfter(std::uint64_t seconds) {
    const auto filled = static_cast<unsigned>(seconds / usageInterval % 1000000) + 64 - emptied;
    const unsigned moved = filled / (100 - emptied);
    return {emptied + filled % (100 - emptied), (70 + 12 * moved) % 100};
}

} // namespace

void Logger::readInputs(const Tick& tick) {
    for (std::size_t i = 0; i < std::size(digitalInputs); ++i) {
        const bool level = digitalInputs[i](tick.car);
        if (levels[i] != level) {
            levels[i] = level;
            tick.recorder.add(GpioTraceMessage{
                .timestamp = tick.now * 1000,
                .elements = {{static_cast<std::uint16_t>(i + 1), static_cast<std::uint16_t>(level), 1}}});
        }
    }
    if (!measurement.isDue(tick.now)) {
        return;
    }
    std::uint16_t number = 0;
    for (const auto& [exponent, resolution, measure] : analogInputs) {
        ++number;
        const double steps = std::floor(measure(tick.car) * resolution + noise() + 0.5);
        tick.recorder.add(
            AnalogTraceMessage{.timestamp = (tick.now + std::uint64_t{250} * number) * 1000,
                               .elements = {{number, static_cast<std::int32_t>(steps), exponent}}});
    }
}

void Logger::readKeys(const Tick& tick) {
    while (tick.now >= roundStart + std::uint64_t{1000} * keys[nextKey].milliseconds) {
        tick.recorder.add(KeyboardMessage{
            .timestamp = tick.now * 1000, .keyCode = keys[nextKey].key, .value = keys[nextKey].value});
        nextKey = (nextKey + 1) % std::size(keys);
        roundStart += nextKey == 0 ? roundMicroseconds : 0;
    }
}

void Logger::reportStatus(const Tick& tick) {
    if (!second.isDue(tick.now)) {
        return;
    }
    const std::uint64_t seconds = (tick.now - start) / 1000000;
    const std::uint64_t timestamp = tick.now * 1000;
    const auto [internal, external] = usageAfter(seconds);
    if (seconds == 0) {
        tick.recorder.add(SystemMessage(timestamp, SystemMessage::Start, "1"));
    }
    tick.recorder.add(SystemMessage(timestamp, SystemMessage::Timer, std::to_string(seconds)));
    // GPS sets the clock after 4 s.
    if (const int current = seconds < 4      ? NoSynchronisation
                            : internal >= 90 ? Warning
                                             : Ok;
        current != status) {
        status = current;
        tick.recorder.add(SystemMessage(timestamp, SystemMessage::Status, std::to_string(status)));
    }
    if (seconds % usageInterval == 0) {
        constexpr std::uint8_t absent = 255;
        tick.recorder.add(SystemUsageMessage(timestamp, static_cast<std::uint8_t>(internal),
                                             static_cast<std::uint8_t>(external), absent));
    }
}

// --- GPS ---

namespace {

/// `value`, which is not negative, with `decimals` of them.
std::string fixed(double value, int decimals) {
    const auto scale = static_cast<std::uint64_t>(std::pow(10, decimals));
    const auto units = static_cast<std::uint64_t>(std::floor(value * static_cast<double>(scale) + 0.5));
    std::string text = std::to_string(units / scale) + '.';
    putDecimal(text, units % scale, decimals);
    return text;
}

/// Degrees and minutes in one number, and the hemisphere: `4119.27200,S,`.
std::string angle(double degrees, int digits, const char* hemispheres) {
    constexpr std::uint64_t unitsPerMinute = 100000;
    const auto units = static_cast<std::uint64_t>(
        std::floor(std::abs(degrees) * 60 * static_cast<double>(unitsPerMinute) + 0.5));
    std::string text;
    putDecimal(text, units / unitsPerMinute / 60, digits);
    putDecimal(text, units / unitsPerMinute % 60, 2);
    text += '.';
    putDecimal(text, units % unitsPerMinute, 5);
    return text + ',' + hemispheres[degrees < 0 ? 1 : 0] + ',';
}

/// `hhmmss.ss` and `ddmmyy`.
std::pair<std::string, std::string> clockAt(std::uint64_t microseconds) {
    using namespace std::chrono;
    const std::uint64_t seconds = microseconds / 1000000;
    const year_month_day day{sys_days{days{seconds / 86400}}};
    std::string time, date;
    for (const std::uint64_t part : {seconds / 3600 % 24, seconds / 60 % 60, seconds % 60}) {
        putDecimal(time, part, 2);
    }
    time += '.';
    putDecimal(time, microseconds / 10000 % 100, 2);
    for (const unsigned part :
         {unsigned{day.day()}, unsigned{day.month()}, static_cast<unsigned>(int{day.year()})}) {
        putDecimal(date, part, 2);
    }
    return {time, date};
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

} // namespace

std::string GpsReceiver::observe(const Tick& tick) {
    // The drive begins in the lake district of Chile: south, west, and right-hand traffic.
    constexpr double startLatitude = -41.3212, startLongitude = -72.9871, altitude = 84; // degrees, m
    constexpr double metresPerDegreeNorth = 111195, metresPerDegreeEast = 83513;         // on this latitude
    constexpr double metresPerNauticalMile = 1852;
    if (!fix.isDue(tick.now)) {
        return {};
    }
    if (tick.car.driver.tunnel) {
        satellites = 0;
    } else {
        approachAtRate(satellites, 10.5 + noise(), 0.3);
    }
    move(tick.car);
    const auto [time, date] = clockAt(tick.now);
    std::string seen;
    putDecimal(seen, static_cast<std::uint64_t>(satellites), 2);
    if (satellites < 4) {
        return sentence("GNRMC," + time + ",V,,,,,,," + date + ",,,N") +
               sentence("GNGGA," + time + ",,,,,0," + seen + ",99.9,,,,,,");
    }
    const std::string position =
        angle(startLatitude + (tick.car.north + errorNorth) / metresPerDegreeNorth, 2, "NS") +
        angle(startLongitude + (tick.car.east + errorEast) / metresPerDegreeEast, 3, "EW");
    return sentence("GNRMC," + time + ",A," + position + fixed(speed * 3600 / metresPerNauticalMile, 3) +
                    ',' + fixed(course, 2) + ',' + date + ",,,A") +
           sentence("GNGGA," + time + ',' + position + "1," + seen + ",0.9," +
                    fixed(altitude + errorNorth, 1) + ",M,21.3,M,,");
}

/// The position is a little off, and the error wanders. Too slow a car has no course: the last one stands.
void GpsReceiver::move(const Car& car) {
    approach(errorEast, 12 * noise(), 0.2, 20);
    approach(errorNorth, 12 * noise(), 0.2, 20);
    speed = std::abs(car.speed + 0.03 * noise());
    if (car.speed > 0.5) {
        course = car.heading + (car.direction < 0 ? 180 : 0) + 0.4 * noise();
        course += course < 0 ? 360 : course >= 360 ? -360 : 0;
    }
}

// --- files ---

EthernetCapture::EthernetCapture(std::ostream& out) : out(out) {
    Octets section; // little endian, version 1.0, of unknown length
    putLittle(section, 0x1A2B3C4D, 4);
    putLittle(section, 1, 4);
    putLittle(section, ~std::uint64_t{0}, 8);
    writeBlock(0x0A0D0D0A, std::move(section));
    Octets
        interface; // Ethernet frames of any length, with one option: times in units of 10 to the power -9 s
    putLittle(interface, 1, 8);
    putLittle(interface, 0x00010009, 4);
    putLittle(interface, 9, 8); // and the end of the options
    writeBlock(1, std::move(interface));
}

void EthernetCapture::write(const MIITraceMessage& message) {
    Octets body;
    putLittle(body, 0, 4); // the interface
    putLittle(body, message.timestamp >> 32, 4);
    putLittle(body, message.timestamp, 4);
    putLittle(body, message.frame.size(), 4); // captured
    putLittle(body, message.frame.size(), 4); // on the wire
    body.insert(body.end(), message.frame.begin(), message.frame.end());
    body.resize((body.size() + 3) / 4 * 4);
    writeBlock(6, std::move(body));
}

/// A block's length, counted over all of it, stands at both of its ends.
void EthernetCapture::writeBlock(std::uint32_t type, Octets body) {
    Octets block;
    putLittle(block, type, 4);
    putLittle(block, 12 + body.size(), 4);
    putLittle(body, 12 + body.size(), 4);
    block.insert(block.end(), body.begin(), body.end());
    out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
}

void Recording::observe(std::span<const Frame> frames, const Car& car, std::uint64_t now) {
    recorder.writeBefore(now);
    for (const Frame& frame : frames) {
        // Remote and error frames carry no signals and have no records.
        if (const bool isFd = frame.kind == FrameKind::FdData; isFd || frame.kind == FrameKind::Data) {
            recorder.add(CANExtTraceMessage{.timestamp = frame.microseconds * 1000,
                                            .channel = frame.bus,
                                            .frameFormat = (isFd ? 2U : 0U) + (frame.extended ? 1U : 0U),
                                            .length = frame.length,
                                            .canId = frame.id,
                                            .payload = frame.data});
        }
    }
    const Tick tick{car, now, recorder};
    buses.sendLin(tick);
    buses.sendFlexRay(tick);
    for (const MIITraceMessage& frame : buses.sendEthernet(tick)) {
        recorder.add(frame);
        capture.write(frame);
    }
    logger.readInputs(tick);
    logger.readKeys(tick);
    logger.reportStatus(tick);
    if (const std::string said = gps.observe(tick); !said.empty()) {
        constexpr std::uint64_t latency = 60000; // from a fix to the end of its sentences
        recorder.add(GPSTraceMessage{.timestamp = (now + latency) * 1000, .sentences = said});
        sentences << said;
    }
}

std::uint64_t Recording::finish() {
    recorder.writeBefore(std::numeric_limits<std::uint64_t>::max() / 1000);
    return recorder.written;
}

} // namespace drive

#include "input/GPSSignal.h"

#include "input/InputKey.h"
#include "signal/Diagnostics.h"
#include "signal/SignalFiling.h"

#include <bit>
#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

using enum signalValue_t;
using input::gpsBit;

std::map<std::string, std::uint64_t> GPSSignal::gps_ids = {
    {"GPS.Time", gpsBit},      {"GPS.Status", gpsBit},     {"GPS.Latitude", gpsBit},
    {"GPS.Longitude", gpsBit}, {"GPS.Speed", gpsBit},      {"GPS.Course", gpsBit},
    {"GPS.Date", gpsBit},      {"GPS.Satellites", gpsBit}, {"GPS.Altitude", gpsBit},
};

std::map<std::string, signalValue_t> GPSSignal::gpsSignalTypes = {
    {"GPS.Time", Unsigned},    {"GPS.Status", Unsigned},     {"GPS.Latitude", Double},
    {"GPS.Longitude", Double}, {"GPS.Speed", Double},        {"GPS.Course", Double},
    {"GPS.Date", Unsigned},    {"GPS.Satellites", Unsigned}, {"GPS.Altitude", Double},
};

std::map<std::string, std::string> GPSSignal::gpsSignalUnit = {
    {"GPS.Time", "UTC"},   {"GPS.Status", ""},     {"GPS.Latitude", ""},
    {"GPS.Longitude", ""}, {"GPS.Speed", "km/h"},  {"GPS.Course", "°"},
    {"GPS.Date", "UTC"},   {"GPS.Satellites", ""}, {"GPS.Altitude", "m"},
};

std::map<std::uint64_t, std::string> GPSSignal::gpsStatusValueDescription = {{0, "Void"}, {1, "Active"}};

std::uint8_t GPSSignal::gpsStatus = 0;

GPSSignal::GPSSignal(const inputSignalDef_t& definition, bool shared, SignalStorage* registry)
    : InputSignal(definition, DefUse::Copy, shared, registry) {
    constexpr LogSite site{"GPSSignal", "GPSSignal"};
    const std::string& name = def.instance;
    const bool isPredefined = gps_ids.contains(name);
    if (isPredefined) {
        filing::enter<InputSignal>(*this, gpsBit, storage->inputSignals, site);
        def.type = gpsSignalTypes.at(name);
        def.unit = gpsSignalUnit.at(name);
    } else {
        logError(site, name, " not found in predefined input lists, gpId = 0");
    }
    if (debug) {
        logDebug(site, name, " created ", shmem ? "(shared memory)" : "");
    }
    if (name == "GPS.Status" && def.valueDescriptions.empty()) {
        def.valueDescriptions = gpsStatusValueDescription;
    }
}

namespace {

struct RmcField {
    const char* name;
    std::uint64_t (*value)(const GPSTraceMessage::numeric_gprmc_t& record);
};

/// In the order of names.
constexpr RmcField rmcFields[] = {
    {"GPS.Course", [](const auto& record) { return record.course; }},
    {"GPS.Date", [](const auto& record) { return static_cast<std::uint64_t>(record.date); }},
    {"GPS.Latitude", [](const auto& record) { return record.latitude; }},
    {"GPS.Longitude", [](const auto& record) { return record.longitude; }},
    {"GPS.Speed", [](const auto& record) { return record.speed; }},
    {"GPS.Status", [](const auto& record) { return std::uint64_t{record.status}; }},
    {"GPS.Time", [](const auto& record) { return static_cast<std::uint64_t>(record.time); }},
};

/// Writes what one message of the receiver says to the signals.
class GPSDecoder {
  public:
    GPSDecoder(const GPSTraceMessage& message, std::vector<unsigned long>& ids, SignalStorage* storage)
        : message(message), ids(ids), storage(storage), status(GPSSignal::statusOf(storage)) {}

    void decode() const {
        GPSTraceMessage::numeric_gprmc_t rmc;
        if (message.getGPRMC(rmc)) {
            status = rmc.status;
            if (rmc.status == 0) {
                clearAllButStatus();
                write("GPS.Status", 0);
                return;
            }
            for (const RmcField& field : rmcFields) {
                write(field.name, field.value(rmc));
            }
        }
        GPSTraceMessage::numeric_gpgga_t gga;
        if (status != 0 && message.getGPGGA(gga)) {
            write("GPS.Satellites", gga.satellites);
            write("GPS.Altitude", gga.altitude);
        }
    }

  private:
    void write(const std::string& name, std::uint64_t raw) const {
        if (BaseSignal* const signal = BaseSignal::getInstance(name, storage)) {
            signal->write(raw, message.timestamp);
            ids.push_back(signal->id);
        }
    }

    void clearAllButStatus() const {
        for (const auto& [name, kind] : GPSSignal::gps_ids) {
            BaseSignal* const signal = BaseSignal::getInstance(name, storage);
            if (signal != nullptr && name != "GPS.Status") {
                signal->clear();
            }
        }
    }

    const GPSTraceMessage& message;
    std::vector<unsigned long>& ids;
    SignalStorage* storage;
    std::uint8_t& status;
};

/// The last six decimal digits in pairs.
std::string pairs(unsigned long digits, char separator) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setfill('0') << std::setw(2) << digits / 10000 % 100 << separator << std::setw(2)
         << digits / 100 % 100 << separator << std::setw(2) << digits % 100;
    return text.str();
}

std::string coordinate(double value, char positive, char negative) {
    const double angle = std::abs(value);
    const double degrees = std::floor(angle);
    const double minutes = std::floor((angle - degrees) * 60);
    const double seconds = std::floor(((angle - degrees) * 60 - minutes) * 60);
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(0) << degrees << "°" << std::setfill('0') << std::setw(2)
         << minutes << '\'' << std::setw(2) << seconds << '"' << (value < 0 ? negative : positive);
    return text.str();
}

} // namespace

bool GPSSignal::decodeMessage(const GPSTraceMessage& message, std::vector<unsigned long>& ids,
                              SignalStorage* storage) {
    ids.clear();
    GPSDecoder(message, ids, storage).decode();
    return !ids.empty();
}

std::string GPSSignal::getValueDescription(unsigned long value) const {
    const std::string& name = def.instance;
    if (name == "GPS.Date") {
        return pairs(value, '.');
    }
    if (name == "GPS.Time") {
        return pairs(value, ':');
    }
    if (name == "GPS.Latitude") {
        return coordinate(std::bit_cast<double>(value), 'N', 'S');
    }
    if (name == "GPS.Longitude") {
        return coordinate(std::bit_cast<double>(value), 'E', 'W');
    }
    return InputSignal::getValueDescription(value);
}

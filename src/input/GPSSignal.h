/// \file
/// Signals of the logger's GPS receiver.
#pragma once

#include "input/InputSignal.h"
#include "rktrace/GPSTraceMessage.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A signal that follows one of nine quantities of the receiver, chosen by its instance name: `GPS.Status`,
/// `GPS.Time` (hhmmss), `GPS.Date` (ddmmyy), `GPS.Latitude`, `GPS.Longitude` (degrees), `GPS.Speed` (km/h),
/// `GPS.Course` (degrees) and `GPS.Altitude` (m) and `GPS.Satellites`. The definition gives the field: 64
/// bits from bit 0 for the doubles among them. One receiver: what it said last counts for all storages but
/// those that stand alone.
class RKSIGNAL_EXPORT GPSSignal : public InputSignal {
  public:
    static std::map<std::string, std::uint64_t> gps_ids;        ///< the names, with the bit of the kind
    static std::map<std::string, signalValue_t> gpsSignalTypes; ///< Unsigned or Double
    static std::map<std::string, std::string> gpsSignalUnit;
    /// Texts of `GPS.Status`, unless the definition brings its own.
    static std::map<std::uint64_t, std::string> gpsStatusValueDescription;
    static std::uint8_t gpsStatus; ///< of the last RMC sentence; 0: void, or none yet
    /// The status that a storage uses: `gpsStatus`, or its own.
    static std::uint8_t& statusOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::gpsStatus, gpsStatus);
    }

    /// Builds the signal; its type and unit follow from its name. Another name is reported and gives a signal
    /// with identifier 0, an identifier already in use one with all ones.
    explicit GPSSignal(const inputSignalDef_t& def, bool shared = false, SignalStorage* storage = nullptr);

    /// Decodes what the receiver said: position, motion, date and time of an active RMC sentence, then
    /// satellites and altitude of a GGA sentence. A void RMC sentence clears all signals but the status.
    /// Without an RMC sentence the status that came last decides whether a GGA sentence counts.
    ///
    /// `ids` is emptied, then receives the identifier of each signal written. Never throws for what a message
    /// holds; allocates only when `ids` grows. One thread at a time. \return whether `ids` is non-empty
    static bool decodeMessage(const GPSTraceMessage& message, std::vector<unsigned long>& ids,
                              SignalStorage* storage = nullptr);
    using InputSignal::decodeMessage;

    /// Date as `15.07.26`, time as `09:30:05`, a coordinate as degrees, minutes and seconds with its
    /// hemisphere, e.g. `48°08'14"N`; else the text of the raw value.
    std::string getValueDescription(unsigned long value) const override;
};

/// \file
/// What the logger's GPS receiver said.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>

/// Sentences of NMEA 0183 with the time of their reception.
///
/// A sentence counts when it begins with `$`, has the type asked for behind a talker of two characters (`GP`,
/// `GN`, `GL`, `GA`, ...), and has the right checksum. One without a checksum counts if it is whole: it has
/// the fields of its type, 11 to 13 for RMC and 14 for GGA, and a line end behind them. Without this rule a
/// sentence that was cut inside a number would give a wrong value. Of several, the first one that counts is
/// taken. Text before `$` and lines of other kinds are passed over. Nothing throws for what the text holds.
///
/// An empty field, or one that the sentence lacks, leaves what stands in the record. A field that should be a
/// measurement and is none becomes not-a-number; any other malformed one counts as empty, and so does a
/// number that its member cannot hold.
struct RK_EXPORT GPSTraceMessage {
    /// What an RMC sentence (recommended minimum) tells. Words hold the bit pattern of a double.
    struct numeric_gprmc_t {
        std::int64_t time = 0;       ///< UTC as the decimal number hhmmss; parts of a second are cut off
        std::uint8_t status = 0;     ///< 1 active, 0 void
        std::uint64_t latitude = 0;  ///< degrees, negative in the south
        std::uint64_t longitude = 0; ///< degrees, negative in the west
        std::uint64_t speed = 0;     ///< over ground, km/h
        std::uint64_t course = 0;    ///< over ground, degrees from true north
        std::int64_t date = 0;       ///< UTC as the decimal number ddmmyy
    };

    /// What a GGA sentence (fix data) tells.
    struct numeric_gpgga_t {
        std::int64_t time = 0;        ///< UTC as the decimal number hhmmss
        std::uint64_t latitude = 0;   ///< as in RMC
        std::uint64_t longitude = 0;  ///< as in RMC
        std::uint8_t quality = 0;     ///< 0: no fix
        std::uint16_t satellites = 0; ///< in use
        std::uint64_t altitude = 0;   ///< above mean sea level, metres; bit pattern of a double
    };

    std::uint64_t timestamp = 0; ///< receive time, nanoseconds since 1970-01-01 00:00 UTC
    std::string sentences{};     ///< one or more lines

    /// Fills `record` from the RMC sentence. One with a status other than active, void or empty, which is
    /// void, does not count. \return whether there is one; if not, `record` is left alone
    bool getGPRMC(numeric_gprmc_t& record) const;
    /// The same for the GGA sentence.
    bool getGPGGA(numeric_gpgga_t& record) const;
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,sentences=$GPRMC,...*7F`; line ends inside are shown as blanks.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const GPSTraceMessage& message);

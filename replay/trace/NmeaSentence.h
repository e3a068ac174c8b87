/// \file
/// What a line of a GPS receiver's log says about time.
#pragma once

#include "rktrace/GPSTraceMessage.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace rksignal {

/// A line with a sentence that carries values.
struct NmeaSentence {
    enum class Type { Rmc, Gga };

    Type type = Type::Rmc;
    std::optional<std::uint64_t> timeOfDay; ///< nanoseconds since midnight UTC
    std::optional<std::uint64_t> midnight;  ///< of its date: nanoseconds since 1970-01-01 UTC
};

/// Reads lines of NMEA 0183 as GPSTraceMessage does, with the same right to count.
class NmeaSentenceReader {
  public:
    enum class Result {
        Values,  ///< `sentence` is set
        Other,   ///< a sentence of another type, or a comment (`#`)
        Damaged, ///< not a sentence, or one of a type wanted that does not count
    };

    /// `line` has its line end, if there is one. Allocates only when the longest line so far grows.
    Result read(std::string_view line, NmeaSentence& sentence);

  private:
    GPSTraceMessage probe;
};

} // namespace rksignal

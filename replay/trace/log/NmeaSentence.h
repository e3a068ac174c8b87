/// \file
/// What a line of a GPS receiver's log says about time.
#pragma once

#include "rktrace/GPSTraceMessage.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace rksignal {

/// A line with a sentence that carries values or a date.
struct NmeaSentence {
    enum class Type { Rmc, Gga, Zda };

    Type type = Type::Rmc;
    std::optional<std::uint64_t> timeOfDay; ///< nanoseconds since midnight UTC
    std::optional<std::uint64_t> midnight;  ///< of its date: nanoseconds since 1970-01-01 UTC
};

/// The sentence in a line: from the last `$` that has a talker and type behind it, such as `GPRMC,`; empty if
/// there is none. Receivers that send binary frames too put them directly in front.
std::string_view sentenceIn(std::string_view line);

/// Reads lines of NMEA 0183 as GPSTraceMessage does, with the same right to count.
class NmeaSentenceReader {
  public:
    enum class Result {
        Values,  ///< `sentence` is set
        Date,    ///< the same; of type ZDA, which tells time and date and nothing else
        Other,   ///< a sentence of another type, a comment (`#`), or binary bytes without a sentence
        Damaged, ///< not a sentence, or one of a type wanted that does not count
    };

    /// `line` has its line end, if there is one, and nothing before a sentence in it. Allocates only when the
    /// longest line so far grows.
    Result read(std::string_view line, NmeaSentence& sentence);

  private:
    GPSTraceMessage probe;
};

} // namespace rksignal

/// \file
/// The formats of traces.
#pragma once

#include "text/Export.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

enum class TraceFormat : std::uint8_t {
    Records,   ///< record file, `.rktrace`
    Capture,   ///< pcap and pcapng, through libpcap
    Nmea,      ///< log of a GPS receiver, NMEA 0183 as text
    Asc,       ///< ASC log
    Candump,   ///< log of `candump -l` or `candump -L`, or what candump shows
    Mdf,       ///< MF4 file: bus logging of ASAM MDF from 4.0 on
    Trc,       ///< TRC log
    Gvret,     ///< CSV log of GVRET and SavvyCAN
    Busmaster, ///< log of BUSMASTER
    Blf,       ///< BLF file
};

/// What a file of the format is called: `a candump log`.
RKREPLAY_EXPORT const char* formatName(TraceFormat format);

/// Whether the file is a trace, by its content alone: of a text, the first line that is no comment must be
/// one of its format. For those who expect another file. \return nothing if it is none, or a pipe, which is
/// not read
/// \throws Error if the file cannot be opened or read
RKREPLAY_EXPORT std::optional<TraceFormat> detectTrace(const std::string& path);

} // namespace rksignal

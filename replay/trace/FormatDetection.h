/// \file
/// Finds out what format a trace has.
#pragma once

#include "file/InputFile.h"
#include "trace/TraceFormat.h"

namespace rksignal {

/// By the first bytes, of a text by the first line that is no comment; failing that by the end of the name
/// (`.pcap`, `.pcapng`, `.nmea`, `.asc`). Everything else is a candump log. Waits for as many bytes as that
/// takes. \throws Error
TraceFormat detectFormat(InputFile& file);

} // namespace rksignal

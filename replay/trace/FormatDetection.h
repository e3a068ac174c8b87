/// \file
/// Finds out what format a trace has.
#pragma once

#include "file/InputFile.h"
#include "trace/TraceFormat.h"

namespace rksignal {

/// By the first bytes, of a text by its first lines: the first one that only one format has decides, so that
/// a damaged line in front does no harm. Failing that by what the first line begins with, and by the end of
/// the name (`.pcap`, `.pcapng`, `.nmea`, `.asc`). Everything else is a candump log. Waits for as many bytes
/// as that takes, at most 64 KB. \throws Error
TraceFormat detectFormat(InputFile& file);

} // namespace rksignal

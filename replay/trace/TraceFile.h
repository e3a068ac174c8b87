/// \file
/// Opens traces of all formats.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/TraceSource.h"

#include <memory>
#include <string>

namespace rksignal {

/// Opens a trace, `-` being standard input. Its format shows in its first bytes: a record file, a capture, a
/// receiver's sentences (`$`) or an ASC log (`date`); failing that in the end of its name (`.pcap`,
/// `.pcapng`,
/// `.nmea`, `.asc`). Everything else is a candump log. Waits for the first bytes of a pipe.
///
/// `channels`, which gives the interfaces of candump logs, and captures, their numbers, must outlive the
/// trace. `beforeRead` is called as InputFile does. \throws std::system_error if the file cannot be opened,
/// UsageError if it is of a version that is not known; the text names the file
std::unique_ptr<TraceSource> openTrace(const std::string& path, ChannelMap& channels,
                                       BeforeRead beforeRead = {});

/// Opens the log of a GPS receiver, whatever it looks like. Otherwise as openTrace().
std::unique_ptr<TraceSource> openGpsLog(const std::string& path, BeforeRead beforeRead = {});

} // namespace rksignal

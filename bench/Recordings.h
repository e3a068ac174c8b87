/// \file
/// DBC files of public projects that the benchmarks use where they are present: in the folder that the
/// environment variable RKSIGNAL_RECORDINGS names.
#pragma once

#include <optional>
#include <string>

struct Recording {
    const char* name; ///< in benchmark names
    const char* file; ///< below the folder
};

inline constexpr Recording benchmarkDbcFiles[] = {
    {"vehicle", "cantools/dbc/vehicle.dbc"},
    {"ford_lincoln", "opendbc/ford_lincoln_base_pt.dbc"},
    {"vw_mqb", "opendbc/vw_mqb.dbc"},
};

/// The text of a recording; nothing, and a line on standard error, when it is not there.
std::optional<std::string> readRecording(const Recording& recording);

/// \file
/// `rksignal export`: a table of signals on one time grid.
#pragma once

#include "Console.h"
#include "command/TraceOptions.h"
#include "export/CsvTable.h"

#include <string>
#include <vector>

namespace rksignal {

/// As given; empty: not given.
struct ExportOptions : TraceOptions {
    std::vector<std::string> patterns; ///< of instance names
    std::string step;                  ///< a duration
    std::string trigger;               ///< an instance name
    std::string maxAge;                ///< a duration
    bool interpolate = false;
    std::string form; ///< csv, jsonl or mat
    std::string separator;
    std::string decimal;
};

/// Writes the table. Results go to the output, remarks and the summary to `console.messages`.
/// \return Clean, or Damaged if lines of a trace or of a definition file could not be understood
/// \throws UsageError, Error, std::system_error, std::runtime_error
ExitStatus exportTable(const ExportOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addExportCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

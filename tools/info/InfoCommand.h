/// \file
/// `rksignal info`: what is in traces, without definitions.
#pragma once

#include "Console.h"
#include "command/TraceOptions.h"

#include <string>
#include <vector>

namespace rksignal {

struct InfoOptions : TraceOptions {
    std::vector<std::string> files;    ///< traces and definitions, told apart by their content
    std::vector<std::string> bitRates; ///< as of `--bitrate`
    std::string sort;                  ///< name of a column; empty: by bus, channel and identity
    bool wholeJson = false;            ///< everything as one JSON object
};

/// Reads the traces and writes what is in them.
/// \return Clean, or Damaged if something in the traces could not be understood \throws UsageError, Error,
/// std::system_error
ExitStatus info(const InfoOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addInfoCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

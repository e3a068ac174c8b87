/// \file
/// `rksignal decode`: turns recorded traces into named values with units.
#pragma once

#include "Console.h"
#include "command/TraceOptions.h"

#include <string>
#include <vector>

namespace rksignal {

/// Rows are CSV by themselves, but a table for `last`.
struct DecodeOptions : TraceOptions {
    std::vector<std::string> patterns; ///< of instance names
    bool changedOnly = false;
    bool last = false;
};

/// Decodes the traces. Results go to the output, remarks and the summary to `console.messages`.
/// \return Clean, or Damaged if lines of a trace or of a definition file could not be understood
/// \throws UsageError, Error, std::system_error
ExitStatus decode(const DecodeOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addDecodeCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

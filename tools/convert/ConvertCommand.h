/// \file
/// `rksignal convert`: writes definitions and traces in the project's own formats, and back.
#pragma once

#include "Console.h"
#include "command/DefinitionArguments.h"
#include "command/TimeOptions.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct ConvertOptions : DefinitionOptions {
    std::vector<std::string> inputs;   ///< `[CHANNEL=]FILE` of definitions, or one trace; never empty
    std::string output;                ///< a file; its ending says what is written
    TimeOptions time;                  ///< the window that is converted of a trace
    std::vector<std::string> ids;      ///< identifiers of frames that are converted
    std::vector<std::string> patterns; ///< names of messages and signals whose frames are converted
    bool quiet = false;
    bool schema = false; ///< writes the schema of definition files instead
};

/// Converts one trace, or files of definitions into one. The output is there in full or not at all.
/// \return Clean, or Damaged if a part of the input could not be understood, or values are lost
/// \throws UsageError, Error, std::system_error
ExitStatus convert(const ConvertOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addConvertCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

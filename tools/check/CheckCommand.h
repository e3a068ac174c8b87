/// \file
/// `rksignal check`: definitions and conditions examined without a trace.
#pragma once

#include "Console.h"
#include "command/ConditionArguments.h"
#include "command/DefinitionArguments.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct CheckOptions : DefinitionOptions {
    std::vector<std::string> files; ///< definition files and files of conditions
    ConditionArguments conditions;
};

/// Reads the definitions, then the conditions, and writes what there is to say, and a summary, to
/// `Console::output`. To print conditions, these go to `Console::output` and the rest to `Console::messages`.
/// \return Clean, or Damaged if a line of a definition file could not be understood or a condition has an
/// error or a warning
/// \throws UsageError, Error, std::system_error
ExitStatus check(const CheckOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addCheckCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

/// \file
/// `rksignal explain`: how a signal comes to its value, or why it has none.
#pragma once

#include "Console.h"
#include "command/TraceOptions.h"

#include <cstddef>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct ExplainOptions : TraceOptions {
    std::string instance;
    std::size_t frames = 5; ///< that are shown at the end
};

/// Replays the traces and explains the signal at their end. Remarks go to `console.messages`.
/// \return Clean, or Damaged if the signal has no value, or lines of a trace or of a definition file could
/// not be understood \throws UsageError, Error, std::system_error
ExitStatus explain(const ExplainOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addExplainCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

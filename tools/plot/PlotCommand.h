/// \file
/// `rksignal plot`: curves of signals, as a picture or on the terminal.
#pragma once

#include "Console.h"
#include "command/ConditionArguments.h"
#include "command/TraceOptions.h"

#include <string>
#include <vector>

namespace rksignal {

/// As given; empty or 0: not given.
struct PlotOptions : TraceOptions {
    std::vector<std::string> arguments; ///< instance names or patterns, and traces
    ConditionArguments conditions;
    std::string form; ///< svg, png, pdf or text
    bool terminal = false;
    bool together = false; ///< signals of one unit share a panel
    unsigned width = 0;    ///< pixels, or cells of the text form
    unsigned height = 0;   ///< pixels, or lines of the text form
    bool dark = false;
};

/// Draws the plot. Remarks and the summary go to `console.messages`.
/// \return Clean, or Damaged if lines of a trace or of a definition file could not be understood
/// \throws UsageError, Error, std::system_error, std::runtime_error
ExitStatus plot(const PlotOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addPlotCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

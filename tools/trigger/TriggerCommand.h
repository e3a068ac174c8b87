/// \file
/// `rksignal trigger`: tries trigger conditions on recorded traces.
#pragma once

#include "Console.h"
#include "command/ConditionArguments.h"
#include "command/TraceOptions.h"
#include "trigger/WindowArguments.h"

#include <string>
#include <vector>

namespace rksignal {

/// Durations are seconds, as `parseSeconds` reads them.
struct TriggerOptions : TraceOptions {
    ConditionArguments conditions;
    std::string timeout;              ///< empty: signals stay known
    bool explain = false;             ///< explanations of the firings instead of rows
    std::vector<std::string> moments; ///< at which all conditions are explained, instead of rows
    WindowArguments windows;
    bool overwrite = false; ///< the folder may hold windows of an earlier run
};

/// Exit statuses, which are those of grep. A damaged input is an error, whatever fired.
enum TriggerStatus : int { Fired = 0, NothingFired = 1, Failed = 2, Stopped = Interrupted };

/// Replays the traces and writes what fires. Findings about the conditions, remarks and the summary go to
/// `console.messages`.
/// \throws UsageError, Error, std::system_error
TriggerStatus trigger(const TriggerOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addTriggerCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

/// \file
/// `rksignal audit`: what is odd in traces.
#pragma once

#include "Console.h"
#include "command/AuditArguments.h"
#include "command/TraceOptions.h"

#include <optional>

namespace rksignal {

struct AuditOptions : TraceOptions {
    AuditArguments audit;
    std::optional<Severity> failOn = Severity::Warning; ///< none: nothing fails
    bool json = false;                                  ///< one JSON object, else text
};

/// Reads the traces and writes what is odd in them.
/// \return 0: nothing is as severe as `failOn`; 1: something is; 2: something in the definitions or traces
/// could not be understood; 130: interrupted
/// \throws UsageError, Error, std::system_error
int audit(const AuditOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addAuditCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

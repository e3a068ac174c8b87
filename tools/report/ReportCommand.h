/// \file
/// `rksignal report`: one page that shows a drive.
#pragma once

#include "Console.h"
#include "command/AuditArguments.h"
#include "command/ConditionArguments.h"
#include "command/TraceOptions.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

struct ReportOptions : TraceOptions {
    ConditionArguments conditions;
    std::string timeout; ///< seconds; empty: signals stay known
    AuditArguments audit;
    std::vector<std::string> patterns;  ///< of instance names: the curves that are shown at first
    bool together = false;              ///< signals of one unit share a panel
    std::string title;                  ///< empty: the names of the traces
    std::uint64_t maxSize = 12'000'000; ///< bytes of the page
};

/// Reads the traces and writes the page. \throws UsageError, Error, std::system_error
ExitStatus report(const ReportOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addReportCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

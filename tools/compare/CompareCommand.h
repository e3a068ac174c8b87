/// \file
/// `rksignal compare`: what two traces, or two definition files, do not have in common.
#pragma once

#include "Console.h"
#include "command/TraceOptions.h"

#include <string>
#include <vector>

namespace rksignal {

/// `traces` are the two files, of either kind.
struct CompareOptions : TraceOptions {
    double tolerance = 0; ///< percent
    bool json = false;
};

/// Exit statuses, which are those of diff and of grep.
enum CompareStatus : int { Same = 0, Different = 1, Trouble = 2 };

/// Compares two files, both traces or both definitions.
/// \throws UsageError, Error, std::system_error
int compare(const CompareOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addCompareCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

/// \file
/// `rksignal serve`: the values in shared memory in a browser.
#pragma once

#include "Console.h"
#include "command/ConditionArguments.h"
#include "command/DefinitionArguments.h"

#include <cstddef>
#include <string>

namespace rksignal {

struct ServeOptions : DefinitionOptions {
    ConditionArguments conditions;
    std::string timeout;           ///< seconds; empty: signals stay known
    std::string stale = "3";       ///< seconds
    std::string history = "600";   ///< seconds
    std::string interval = "0.01"; ///< seconds between two polls
    std::string listen;            ///< empty: the loopback address
    std::string tokenFile;
    std::size_t clients = 16;
    bool quiet = false;
};

/// Serves until SIGINT or SIGTERM comes. \throws UsageError, Error, std::system_error
ExitStatus serve(const ServeOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addServeCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

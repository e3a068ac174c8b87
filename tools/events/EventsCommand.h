/// \file
/// `rksignal events`: lists the signals that an event description uses.
#pragma once

#include "Console.h"

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct EventsOptions {
    std::string file; ///< `-` for standard input
    bool json = false;
};

/// Writes the signals by source, as a table or as a JSON object.
/// \return Clean \throws std::system_error
ExitStatus listEvents(const EventsOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addEventsCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

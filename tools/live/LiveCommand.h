/// \file
/// `rksignal live`: decodes what buses, networks and recorded drives give, as it comes.
#pragma once

#include "Console.h"

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addLiveCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

/// \file
/// The `rksignal` program: its command line and its commands.
#pragma once

#include "Console.h"

#include <string>
#include <vector>

namespace rksignal {

/// Runs the program. `arguments` are those behind the program's name. Never throws.
/// \return the exit status
int runProgram(const std::vector<std::string>& arguments, const Console& console);

} // namespace rksignal

/// \file
/// The manual page of the program.
#pragma once

#include "program/CommandLine.h"

#include <string>

namespace rksignal {

/// In the man macros of roff, `rksignal(1)`. `version` is that of the program.
std::string manualPage(const ProgramText& text, const std::string& version);

} // namespace rksignal

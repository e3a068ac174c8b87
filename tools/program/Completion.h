/// \file
/// Scripts that let shells complete the command line.
#pragma once

#include "program/CommandLine.h"

#include <string>

namespace rksignal {

/// For bash 4: to be sourced, or put into `share/bash-completion/completions/rksignal`.
std::string bashCompletion(const ProgramText& text);
/// For zsh: the file `_rksignal` of a folder in `$fpath`.
std::string zshCompletion(const ProgramText& text);
/// For fish 3: the file `rksignal.fish` of a folder of completions.
std::string fishCompletion(const ProgramText& text);

} // namespace rksignal

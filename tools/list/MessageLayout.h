/// \file
/// Where the signals of a message lie, drawn as a table of bits.
#pragma once

#include "list/DefinitionList.h"
#include "output/TerminalStyle.h"

#include <string>

namespace rksignal {

/// The message line by line: a table of its bits, in which `A0` is the least significant bit of the signal
/// that the legend calls A. A message with multiplexers has a table for each set of signals that is present
/// together. Signals that overlap share cells, and are named. Empty for messages without a payload, as inputs
/// are.
std::string layoutText(const ListedMessage& listed, const TerminalStyle& style);

} // namespace rksignal

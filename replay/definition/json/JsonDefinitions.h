/// \file
/// Definition files in JSON: signals of every kind.
#pragma once

#include "definition/Definition.h"
#include "text/Export.h"

#include <string>
#include <string_view>

namespace rksignal {

/// Reads the definition file at `path`; `-` is standard input. What it returns is usable: instance names are
/// unique in the file, predefined names are such, fields are in their ranges.
///
/// Signals of one frame make up a message; those of CAN must have the same message name, too. A message comes
/// in the order of `messages`, which says more about it, or of its first signal.
/// \throws RemarkError if there is anything in the file that is not understood: nothing is passed over. The
/// places are as `FILE#/can/3/bits`, or `FILE:LINE:COLUMN` where the text is not JSON; at most 20 are kept.
/// \throws Error if reading fails
RKREPLAY_EXPORT DefinitionFile readJsonDefinitions(const std::string& path);

/// The same for a text that is there already. `file` is what remarks call it.
RKREPLAY_EXPORT DefinitionFile parseJsonDefinitions(std::string_view text, const std::string& file);

} // namespace rksignal

/// \file
/// Definition files, written.
#pragma once

#include "definition/SignalDefinitions.h"
#include "text/Export.h"

#include <string>

namespace rksignal {

/// The text of a definition file that reads as `definitions` again. Kinds, definitions and fields stand in a
/// fixed order, fields that have their default are left out. Places do not matter.
/// REQUIRES: the definitions are usable, with finite numbers and UTF-8 texts.
RKREPLAY_EXPORT std::string definitionText(const SignalDefinitions& definitions);

/// The JSON Schema (draft 7) of definition files: every field with its description and its limits.
RKREPLAY_EXPORT std::string definitionSchema();

} // namespace rksignal

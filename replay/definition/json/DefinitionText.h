/// \file
/// Definition files, written.
#pragma once

#include "definition/Definition.h"
#include "text/Export.h"

#include <cstddef>
#include <string>
#include <vector>

namespace rksignal {

/// The text of a definition file that reads as `messages` again. Kinds and fields stand in a fixed order,
/// fields that have their default are left out. Places do not matter.
/// REQUIRES: the definitions are usable, with finite numbers and UTF-8 texts; every instance name is unique;
/// no signal of CAN is one that whyNotDecodable() names.
RKREPLAY_EXPORT std::string definitionText(const std::vector<MessageDefinition>& messages);

/// How many of the messages a definition file puts together with others, which have the same name, identifier
/// and channel. Their signals are the same as before.
RKREPLAY_EXPORT std::size_t messagesPutTogether(const std::vector<MessageDefinition>& messages);

/// The JSON Schema (draft 7) of definition files: every field with its description and its limits.
RKREPLAY_EXPORT std::string definitionSchema();

} // namespace rksignal

/// \file
/// Whether a text is a DBC file.
#pragma once

#include "text/Export.h"

#include <string>

namespace rksignal {

/// Whether the first line that is not blank starts a statement of a DBC file, as `VERSION ""`, `NS_ :` or
/// `BO_ 291 Engine: 8 X`. \throws Error if the file cannot be opened or read
RKREPLAY_EXPORT bool isDbcText(const std::string& path);

} // namespace rksignal

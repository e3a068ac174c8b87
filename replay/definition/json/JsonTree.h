/// \file
/// Reads JSON text (RFC 8259) without losing anything of it.
#pragma once

#include "definition/json/Findings.h"

#include <optional>
#include <string_view>

namespace rksignal {

/// Reads `text`. Unlike the usual reading, where the last one silently wins, a member name that an object
/// has twice is a finding. \return nothing if the text is not JSON: the finding says where
std::optional<JsonValue> parseJson(std::string_view text, Findings& findings);

} // namespace rksignal

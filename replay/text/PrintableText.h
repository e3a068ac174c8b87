/// \file
/// Text of unknown origin on its way to a terminal.
#pragma once

#include "text/Export.h"

#include <string>
#include <string_view>

namespace rksignal {

/// `text` with `\x9B` in place of each byte that a terminal could take for a command: control characters,
/// those from U+0080 to U+009F included, and whatever is not valid UTF-8. So are the bytes of characters that
/// set the direction of writing: they would let a name look like another one.
RKREPLAY_EXPORT std::string printable(std::string_view text);

} // namespace rksignal

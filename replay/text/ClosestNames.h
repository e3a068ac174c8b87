/// \file
/// Finds what somebody may have meant by a name that does not exist.
#pragma once

#include "text/Export.h"

#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// The up to three names that come closest to `pattern`, as the end of a message: `; close are A, B, C`.
/// Names that differ in more than a third of the pattern's characters are not shown; empty if there are no
/// others. Upper case counts as lower case, `*` in the pattern matches any run of characters and `?` any one.
/// Takes time in proportion to the length of all names together.
RKREPLAY_EXPORT std::string closestNames(std::string_view pattern,
                                         const std::vector<std::string_view>& names);

} // namespace rksignal

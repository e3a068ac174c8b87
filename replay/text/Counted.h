/// \file
/// Numbers of things in a summary.
#pragma once

#include "text/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// Names of things, with how many of them there are.
using Counts = std::vector<std::pair<std::string, std::uint64_t>>;

/// Writes `HEAD: apples (3), pears (1)` and a line end, without what there is none of; nothing if that is
/// all.
RKREPLAY_EXPORT void printCounts(std::ostream& out, const char* head, const Counts& counts);

} // namespace rksignal

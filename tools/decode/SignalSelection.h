/// \file
/// Chooses signals by patterns of their instance names.
#pragma once

#include "catalog/Catalog.h"

#include <cstddef>
#include <string>
#include <vector>

namespace rksignal {

/// Which signals of a catalog match one of `patterns`, by index in Catalog::signals(); all of them if there
/// is no pattern. Patterns are those of file names in a shell (`*`, `?`, `[a-z]`) and match whole names.
/// \throws UsageError if a pattern matches nothing; the text names the closest instance names, and `option`,
/// which gave the pattern
std::vector<bool> selectSignals(const Catalog& catalog, const std::vector<std::string>& patterns,
                                const std::string& option = "--only ");

/// The same as indices, each once, in the order of the patterns, and of the definitions for each.
std::vector<std::size_t> selectInOrder(const Catalog& catalog, const std::vector<std::string>& patterns,
                                       const std::string& option = "--only ");

} // namespace rksignal

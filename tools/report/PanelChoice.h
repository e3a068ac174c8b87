/// \file
/// The curves that a page shows at first.
#pragma once

#include "catalog/Catalog.h"
#include "page/DriveReport.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

constexpr std::size_t mostChosenPanels = 8; ///< when nothing says which
constexpr std::size_t mostPanels = 64;

/// The signals that match the patterns, in their order and in that of the definitions for each; each signal
/// once. \throws UsageError if a pattern matches nothing
std::vector<std::size_t> signalsLike(Catalog& catalog, const std::vector<std::string>& patterns);

/// The signals of each panel, from the top: `wanted` ones; without any, those of the conditions and what
/// tells most of the drive. One a panel, or, if `together`, all quantities of one unit. At most `mostPanels`.
std::vector<std::vector<std::size_t>> choosePanels(const Catalog& catalog, const DriveReport& report,
                                                   std::span<const std::size_t> wanted, bool together);

} // namespace rksignal

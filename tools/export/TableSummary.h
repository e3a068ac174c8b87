/// \file
/// What there is to say about a table.
#pragma once

#include "catalog/Catalog.h"
#include "grid/SignalGrid.h"
#include "text/NumberText.h"

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace rksignal {

/// Writes how many rows and columns there are, which signals have no value or no column, and where rows or
/// interpolated values are missing. `columns` are those of the grid, which is finished.
void printTableSummary(std::ostream& out, const Catalog& catalog, const std::vector<std::size_t>& columns,
                       const SignalGrid& grid, const TimeFormat& times);

} // namespace rksignal

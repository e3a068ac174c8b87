/// \file
/// Compares definition files, whatever their formats.
#pragma once

#include "catalog/Catalog.h"
#include "compare/Difference.h"

#include <vector>

namespace rksignal {

/// Adds the differences. Messages are the same by bus, channel, identifier and PDU, of several the one of the
/// same name; their signals by name. Properties have the names and values of JSON definition files. Compared
/// are the signals that are decoded.
void compareDefinitions(const Catalog& left, const Catalog& right, std::vector<Difference>& differences);

} // namespace rksignal

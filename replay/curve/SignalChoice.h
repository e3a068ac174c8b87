/// \file
/// Which curves are worth a look.
#pragma once

#include "curve/CurveRecorder.h"
#include "text/Export.h"

#include <cstddef>
#include <span>
#include <vector>

namespace rksignal {

/// Chooses signals to be shown at first, by index in Catalog::signals(): `given` ones in their order, then
/// those that tell most about the drive, up to `most` in all. Quantities with a unit come first, then other
/// quantities, states and bits that change now and then; counters, checksums and signals that never change
/// are left out. The choice depends on nothing but the curves and the definitions. For the recorder behind
/// finish().
RKREPLAY_EXPORT std::vector<std::size_t> chooseSignals(const Catalog& catalog, const CurveRecorder& curves,
                                                       std::span<const std::size_t> given, std::size_t most);

} // namespace rksignal

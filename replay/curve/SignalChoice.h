/// \file
/// Which curves are worth a look.
#pragma once

#include "curve/CurveRecorder.h"
#include "text/Export.h"

#include <cstddef>
#include <span>
#include <vector>

namespace rksignal {

/// Chooses signals to be shown at first, by index in Catalog::signals(): `given` ones in their order, such as
/// conditions use, then those that tell most about the drive, up to `most` in all.
///
/// Quantities come before states, states before bits and plain numbers. A quantity tells more if it has a
/// unit, takes many values, changes often and runs through its range some times instead of once, as
/// distances do, or incessantly, as noise does. States and bits tell more if they change now and then. Each
/// signal that is chosen makes others of its unit and of its message less welcome, so that four wheel speeds
/// do not take the place of all else. What changes with nearly each message, such as counters, checksums and
/// multiplexers, what is named like these, what hardly came and what never changed is left out.
///
/// Depends on nothing but the curves and the definitions; of equals the first one in the catalog is taken.
/// Takes time in proportion to the points of all curves. For a recorder behind finish().
RKREPLAY_EXPORT std::vector<std::size_t> chooseSignals(const Catalog& catalog, const CurveRecorder& curves,
                                                       std::span<const std::size_t> given, std::size_t most);

} // namespace rksignal

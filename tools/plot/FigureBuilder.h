/// \file
/// Makes a figure of recorded curves.
#pragma once

#include "catalog/Catalog.h"
#include "curve/CurveRecorder.h"
#include "plot/Figure.h"

#include <cstddef>
#include <span>
#include <vector>

namespace rksignal {

struct FigureSettings {
    std::size_t columns = 1000; ///< that the drawing can tell apart
    bool together = false;      ///< signals of one unit share a panel
};

/// A panel for each signal that has values, in the order of `signals`, which are indices in
/// Catalog::signals() that the recorder has recorded. For the recorder behind finish().
Figure figureOf(const Catalog& catalog, const CurveRecorder& curves, std::span<const std::size_t> signals,
                const FigureSettings& settings);

} // namespace rksignal

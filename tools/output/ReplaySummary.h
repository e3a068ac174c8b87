/// \file
/// What a replay met, as text.
#pragma once

#include "catalog/Catalog.h"
#include "trace/Trace.h"
#include "value/ReplayStatistics.h"

#include <iosfwd>

namespace rksignal {

/// Writes the counts, the most frequent unknown identifiers, the frames that were too short, what was
/// damaged, and what of the definitions did not appear, as text of several lines. The traces have been read.
void printSummary(std::ostream& out, const ReplayStatistics& statistics, const Catalog& catalog,
                  const Trace& traces);

/// Writes what there is to say about the traces themselves, which have been read: interfaces, frames that the
/// recorder lost, damage, notes, channels. Nothing if there is nothing.
void printTraces(std::ostream& out, const Trace& traces);

/// Writes what of the traces could not be understood: damage of whole files, then the first damaged lines.
/// Nothing if there is none.
void printDamage(std::ostream& out, const Trace& traces);

} // namespace rksignal

/// \file
/// Frames and definitions of CAN that nearly belong together, and options for channels that no trace has.
#pragma once

#include "catalog/Catalog.h"
#include "trace/ChannelMap.h"
#include "value/ReplayStatistics.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace rksignal {

/// The interfaces that `--dbc NAME=FILE` and `--channel NAME=N` name and that never came. Where traces tell
/// only numbers of channels, messages on the channel of the interface are enough.
std::vector<std::string> absentInterfaces(const Catalog& catalog, const ReplayStatistics& statistics,
                                          const ChannelMap& channels);

/// For each channel that CAN definitions are bound to and no frame came on, says on which channels their
/// frames did come; nothing where they did not come at all.
void printMisplaced(std::ostream& out, const Catalog& catalog, const ReplayStatistics& statistics,
                    const ChannelMap& channels);

/// For each definition file, says how many of the frames without a definition it would decode if the source
/// address (the last 8 of 29 bits), the width of the identifier or the channel were ignored, in a line each.
/// The channel counts only where the definition got no frame on its own; of LIN and FlexRay it alone does.
/// Takes linear time, at the end of a run.
void printNearMatches(std::ostream& out, const Catalog& catalog, const ReplayStatistics& statistics);

} // namespace rksignal

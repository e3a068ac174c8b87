/// \file
/// Frames and definitions of CAN that nearly belong together, and options for channels that no trace has.
#pragma once

#include "catalog/Catalog.h"
#include "trace/ChannelMap.h"
#include "value/ReplayStatistics.h"

#include <bitset>
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

/// Channels on which frames came that are nearly those of one message.
struct NearFrames {
    std::bitset<256> sameIdentifier; ///< and of the same width; those of the message itself included
    std::bitset<256> otherWidth; ///< of CAN: the identifier has 29 bits instead of 11, or the other way round
    std::bitset<256> otherSource; ///< of CAN: only the source address, the last 8 of 29 bits, differs
};

/// Of a message of CAN, LIN or FlexRay; of the latter two, frames without a definition count. Takes time in
/// proportion to the definitions and the unknown identifiers.
NearFrames framesNear(const Catalog& catalog, const ReplayStatistics& statistics,
                      const MessageDefinition& message);

/// For each definition file, says how many of the frames without a definition it would decode if the source
/// address (the last 8 of 29 bits), the width of the identifier or the channel were ignored, in a line each.
/// The channel counts only where the definition got no frame on its own; of LIN and FlexRay it alone does.
/// Takes linear time, at the end of a run.
void printNearMatches(std::ostream& out, const Catalog& catalog, const ReplayStatistics& statistics);

} // namespace rksignal

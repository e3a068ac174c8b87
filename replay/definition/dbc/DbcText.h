/// \file
/// DBC files, written.
#pragma once

#include "definition/Definition.h"
#include "text/Counted.h"
#include "text/Export.h"

#include <string>
#include <vector>

namespace rksignal {

struct DbcText {
    std::string text; ///< in Windows-1252, as other tools expect it, or in UTF-8 where that does not hold it
    std::size_t messages; ///< how many are in it
    std::size_t signals;
    Counts lost; ///< what a DBC file cannot hold, and how often there is something of it
};

/// The messages of CAN as a DBC file that reads as the same messages again, see parseDbc(): with extended
/// multiplexing (SG_MUL_VAL_), value texts, comments, units, types (SIG_VALTYPE_), nodes, cycle times
/// (GenMsgCycleTime), frame formats (VFrameFormat) and, where a name is no identifier of at most 32
/// characters or is taken, with the long name beside it (SystemMessageLongSymbol, SystemSignalLongSymbol,
/// SystemNodeLongSymbol). The instance names become those that a DBC file has, `Message.Signal`.
RKREPLAY_EXPORT DbcText dbcText(const std::vector<MessageDefinition>& messages);

} // namespace rksignal

/// \file
/// LDF files, the descriptions of LIN clusters (LIN Specification Package 1.3, 2.0, 2.1 and 2.2A, "LIN
/// Configuration Language"; SAE J2602).
#pragma once

#include "definition/Definition.h"
#include "text/Export.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// Reads LDF text. Never throws because of the content. `path` only names the text in remarks and places; all
/// messages are bound to `channel`. An entry that is not understood costs only itself.
///
/// Unconditional and diagnostic frames are messages of LIN; signals have the instance name `Frame.Signal`, as
/// often as frames carry them. Signals are unsigned and little endian; a byte array of up to 8 bytes is one
/// number whose lowest 8 bits are the first byte. Frames without a length have that of their identifier (LIN
/// 1.3). Signal groups (LIN 1.3) in a frame stand for their signals.
///
/// Of an encoding, the first physical range gives the scaling and the unit, its bounds and those of further
/// ranges of the same scaling the range, the logical values the value texts; what else there is gets a
/// remark. The publisher is the sender, the subscribers are the receivers.
///
/// A frame has a cycle time if all schedule tables that it is in hold it once and take the same time.
/// Sporadic frames have no identifier of their own: the frames that they stand for are decoded. An
/// event-triggered frame is a message with one signal, `ProtectedId`, whose texts name the frames that it may
/// carry; the signals behind it are not decoded, and a remark says so.
RKREPLAY_EXPORT DefinitionFile parseLdf(std::string text, std::string path,
                                        std::optional<std::uint8_t> channel = {});

} // namespace rksignal

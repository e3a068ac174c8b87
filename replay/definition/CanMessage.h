/// \file
/// A CAN message with its signals, whichever file defines it.
#pragma once

#include "bus/CANSignal.h"
#include "definition/SignalDefinitions.h"
#include "definition/dbc/DbcFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// What the catalog builds a decoder from.
struct CanMessage {
    DbcMessage message;
    std::optional<std::uint8_t> channel; ///< none: frames of all channels
    std::string place;                   ///< where the message is defined
    std::vector<canSignalDef_t> records; ///< as `message.signals`; `instance` is the name that is wanted
    std::vector<std::string> places;     ///< where the signals are defined
};

/// The messages of a DBC file, with instance names `Message.Signal`.
std::vector<CanMessage> canMessages(const DbcFile& file, std::optional<std::uint8_t> channel);

/// The messages that the records without a PDU make up: those with the same identifier, format, channel and
/// message name, in the order of their first signals. Their length is unknown and counts as 0; a message
/// without a name is called by its identifier.
///
/// A record does not say which signal is its multiplexer: it is the first one of the message that is not
/// multiplexed itself.
std::vector<CanMessage> canMessages(const std::vector<PlacedDefinition<canSignalDef_t>>& definitions);

} // namespace rksignal

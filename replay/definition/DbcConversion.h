/// \file
/// Turns a DBC file into definition records.
#pragma once

#include "definition/SignalDefinitions.h"
#include "definition/dbc/DbcFile.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <vector>

namespace rksignal {

/// What a DBC file says, as far as records hold it.
struct ConvertedDbc {
    SignalDefinitions definitions;
    std::vector<DbcNote> notes; ///< those of the file, then one for each loss of values

    // Losses of values.
    std::size_t lostSignals = 0;     ///< not converted
    std::size_t narrowedSignals = 0; ///< present for one of several multiplexer values only

    // Losses without an effect on values.
    std::size_t lengths = 0;         ///< of messages, by which short frames are noticed
    std::size_t emptyMessages = 0;   ///< messages without signals, whose frames count as unknown then
    std::size_t messageComments = 0; ///< comments of messages
    std::size_t ranges = 0;          ///< signals with a minimum and maximum
    std::size_t receivers = 0;       ///< signals with receivers
};

/// Converts all messages. Instance names are those that replaying the file gives: `Message.Signal`, a name
/// that is taken with `#2`, `#3` and so on behind it.
///
/// A record has one multiplexer value and does not name the multiplexer. So a signal that is present for
/// several values is converted for the first of them, and signals of any other multiplexer than the first
/// one of their message that is not multiplexed itself are not converted.
/// \param channel of all signals; nothing: they are taken from any channel
RKREPLAY_EXPORT ConvertedDbc convertDbc(const DbcFile& file, std::optional<std::uint8_t> channel);

/// Writes what `converted` holds and what it lacks, a line each.
RKREPLAY_EXPORT void printSummary(std::ostream& out, const ConvertedDbc& converted);

} // namespace rksignal

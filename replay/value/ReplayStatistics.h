/// \file
/// What a replay met in its traces.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/TraceReceiver.h"
#include "trace/TraceSource.h"
#include "value/ValueSink.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <vector>

namespace rksignal {

class Catalog;

/// Counts, of all traces of a replay together. Takes constant memory: identifiers are counted one by one up
/// to a limit, malformed lines are kept up to a limit.
class ReplayStatistics {
  public:
    static constexpr std::size_t maxIdentifiers = 65536;

    std::array<std::uint64_t, signalKinds> decoded{};   ///< by SignalKind: messages with a definition
    std::array<std::uint64_t, signalKinds> unknown{};   ///< messages without one
    std::array<std::uint64_t, passedMessages> passed{}; ///< by PassedMessage
    std::uint64_t records = 0;                          ///< raw ones, which are also counted by their kind
    std::uint64_t droppedRecords = 0;                   ///< of those, unknown ones that were not looked into

    /// A message without a definition. `identifier` is what its kind has: that of a frame, with bit 31 set if
    /// it is an extended one of CAN, the number of an input, the code of a key or a system message.
    void countUnknown(const MessageOrigin& origin, std::uint32_t identifier);
    /// Adds what was wrong with a trace, which has been read to its end.
    void count(const TraceSource& trace);

    /// All messages read.
    std::uint64_t messages() const;
    /// Whether everything in the traces could be understood.
    bool understood() const { return malformed == 0 && damagedFiles.empty(); }

    /// The channels on which CAN frames without a definition came: any, or those with this identifier, as for
    /// countUnknown(). Of the identifiers that are counted one by one.
    std::bitset<256> unknownCanChannels() const;
    std::bitset<256> unknownCanChannels(std::uint32_t identifier) const;

    /// Writes the counts, the most frequent unknown identifiers, the frames that were too short, what was
    /// damaged, and what of the definitions did not appear, as text of several lines.
    void print(std::ostream& out, const Catalog& catalog, const ChannelMap& channels) const;
    /// Writes what could not be understood; nothing if there is none.
    void printDamage(std::ostream& out) const;

  private:
    void printCounts(std::ostream& out) const;
    void printKinds(std::ostream& out) const;
    void printUnknown(std::ostream& out, const ChannelMap& channels) const;

    std::unordered_map<std::uint64_t, std::uint64_t> unknownMessages; ///< by kind, channel and identifier
    std::uint64_t uncountedIdentifiers = 0;                           ///< messages beyond `maxIdentifiers`
    std::uint64_t dropped = 0;                                        ///< frames that the recorder lost
    std::uint64_t malformed = 0;                                      ///< lines that could not be understood
    std::vector<std::string> malformedTexts;
    std::vector<std::string> damagedFiles; ///< as text
};

} // namespace rksignal

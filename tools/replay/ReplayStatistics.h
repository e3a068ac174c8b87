/// \file
/// What a replay met in its traces.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "trace/ChannelMap.h"
#include "trace/TraceSource.h"

#include <array>
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

    std::uint64_t frames = 0;                           ///< data frames; the two below add up to it
    std::uint64_t decoded = 0;                          ///< those with a definition
    std::uint64_t unknown = 0;                          ///< those without one
    std::array<std::uint64_t, passedMessages> passed{}; ///< by PassedMessage

    void countUnknown(const CANExtTraceMessage& frame);
    /// Adds what was wrong with a trace, which has been read to its end.
    void count(const TraceSource& trace);

    /// Whether everything in the traces could be understood.
    bool understood() const { return malformed == 0 && damagedFiles.empty(); }

    /// Writes the counts, the most frequent unknown identifiers, the frames that were too short, the first
    /// malformed lines, and what of the definitions did not appear, as text of several lines.
    void print(std::ostream& out, const Catalog& catalog, const ChannelMap& channels) const;

  private:
    void printCounts(std::ostream& out) const;
    void printUnknown(std::ostream& out, const ChannelMap& channels) const;
    void printDamage(std::ostream& out) const;

    std::unordered_map<std::uint64_t, std::uint64_t> unknownFrames; ///< by channel, width and identifier
    std::uint64_t uncountedIdentifiers = 0;                         ///< frames beyond `maxIdentifiers`
    std::uint64_t dropped = 0;                                      ///< frames that the recorder says it lost
    std::uint64_t malformed = 0;                                    ///< lines that could not be understood
    std::vector<std::string> malformedTexts;
    std::vector<std::string> damagedFiles; ///< as text
};

} // namespace rksignal

/// \file
/// What a replay met in its traces.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "trace/ChannelMap.h"

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
    static constexpr std::size_t maxMalformedTexts = 10;

    std::uint64_t frames = 0;  ///< of all kinds; the five below add up to it
    std::uint64_t decoded = 0; ///< data frames with a definition
    std::uint64_t unknown = 0; ///< data frames without one
    std::uint64_t remote = 0;
    std::uint64_t error = 0;
    std::uint64_t xl = 0;        ///< CAN XL frames, which are not decoded
    std::uint64_t dropped = 0;   ///< frames that the recorder says it lost
    std::uint64_t malformed = 0; ///< lines that could not be understood

    void countUnknown(const CANExtTraceMessage& frame);
    void countMalformed(const std::string& file, std::uint64_t line, const char* reason);

    /// Writes the counts, the most frequent unknown identifiers, the frames that were too short, the first
    /// malformed lines, and what of the definitions did not appear, as text of several lines.
    void print(std::ostream& out, const Catalog& catalog, const ChannelMap& channels) const;

  private:
    void printCounts(std::ostream& out) const;
    void printUnknown(std::ostream& out, const ChannelMap& channels) const;
    void printMalformed(std::ostream& out) const;

    std::unordered_map<std::uint64_t, std::uint64_t> unknownFrames; ///< by channel, width and identifier
    std::uint64_t uncountedIdentifiers = 0;                         ///< frames beyond `maxIdentifiers`
    std::vector<std::string> malformedTexts;
};

} // namespace rksignal

/// \file
/// Feeds the frames of traces to the signals of a catalog.
#pragma once

#include "replay/Catalog.h"
#include "replay/ReplayStatistics.h"
#include "trace/CandumpLine.h"
#include "trace/ChannelMap.h"
#include "trace/LineReader.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace rksignal {

/// What follows the values while they are decoded.
class ValueSink {
  public:
    virtual ~ValueSink() = default;

    /// Called for each frame of a trace, of whatever kind, before anything else is done with it. Times may go
    /// back: interfaces are recorded side by side, and clocks are set.
    virtual void reached(std::uint64_t /*timestamp*/) {}

    /// Called once for each definition that decoded `frame`, with the identifiers of the signals it has just
    /// written; their values are read from the signals.
    virtual void written(const CANExtTraceMessage& frame, std::span<const unsigned long> ids) = 0;

    /// Called after all definitions that `frame` matches have decoded it.
    virtual void decoded(const CANExtTraceMessage& /*frame*/) {}

    /// Whether no further values are wanted: the replay ends.
    virtual bool closed() const { return false; }
};

/// Replays traces one after the other; the signals keep their values in between. Allocates nothing a frame.
class Replay {
  public:
    /// Everything must outlive the replay.
    Replay(Catalog& catalog, ChannelMap& channels, ValueSink& sink)
        : catalog(catalog), channels(channels), sink(sink) {}

    /// Replays a trace to its end, or until the sink is closed.
    /// \throws std::system_error if reading fails.
    void run(LineReader& trace);

    const ReplayStatistics& statistics() const { return counts; }

  private:
    /// \return null, or why the line cannot be used
    const char* replayLine(std::string_view text);
    void replayFrame(const CANExtTraceMessage& frame);

    Catalog& catalog;
    ChannelMap& channels;
    ValueSink& sink;
    ReplayStatistics counts;
    CandumpLine line;
    std::vector<unsigned long> ids;
};

} // namespace rksignal

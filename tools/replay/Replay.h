/// \file
/// Feeds the frames of traces to the signals of a catalog.
#pragma once

#include "replay/Catalog.h"
#include "replay/ReplayStatistics.h"
#include "trace/TraceMerge.h"
#include "trace/TraceReceiver.h"

#include <cstdint>
#include <span>
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

/// Replays traces; the signals keep their values in between. Allocates nothing a message.
class Replay : private TraceReceiver {
  public:
    /// Everything must outlive the replay.
    Replay(Catalog& catalog, ValueSink& sink) : catalog(catalog), sink(sink) {}

    /// Replays traces to their end, or until the sink is closed.
    /// \throws std::system_error if reading fails.
    void run(TraceMerge& traces);

    const ReplayStatistics& statistics() const { return counts; }

  private:
    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const GPSTraceMessage& message) override;
    void receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    Catalog& catalog;
    ValueSink& sink;
    ReplayStatistics counts;
    std::vector<unsigned long> ids;
};

} // namespace rksignal

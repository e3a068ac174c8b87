/// \file
/// Traces decoded by several threads.
#pragma once

#include "catalog/Catalog.h"
#include "trace/Trace.h"
#include "value/Replay.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace rksignal {

/// Follows what one thread of a ParallelReplay decodes: blocks of the traces, in their order, but not all of
/// them. All calls but the last two operations' come from that thread; when all have ended, one more block of
/// the first lane has what was waiting for further frames.
class RKREPLAY_EXPORT LaneSink : public ValueSink {
  public:
    /// The values of the block `number` follow, counted from 0. `await` waits until all blocks before have
    /// ended; it may be called until this one ends, by who can hold no more of it. It throws when another
    /// thread has failed.
    virtual void blockBegins(std::uint64_t /*number*/, const std::function<void()>& /*await*/) {}
    /// All messages of the block have been decoded, and all blocks before have ended: one thread at a time
    /// gets here, in the order of the blocks.
    virtual void blockEnds() {}
};

/// What each thread has for itself.
struct ReplayLane {
    Catalog& catalog; ///< filled by Catalog::addMessagesOf() of the one that is replayed
    LaneSink& sink;
};

/// Replays traces by several threads. Each one takes the next block, decodes it into the signals of its own
/// catalog, and ends it when those before have ended. Blocks are 128 KB of whole lines of one log that
/// Trace::isDivisible(), in no window of time, and at most 4,096 messages (256 KB) of everything else. What
/// the sinks get, together and in the order of the blocks, and all counts and reports are the same whatever
/// the number of threads, and those that Replay gives. SOME/IP messages that lie in several frames are put
/// together by one thread at a time. Memory does not depend on the length of the traces.
///
///     if (ParallelReplay::canReplay(trace, catalog)) {
///         ParallelReplay replay(catalog);
///         replay.run(trace, lanes);
///
/// Values stay in the catalogs of the lanes: the one that is replayed gets the statistics of its messages.
class RKREPLAY_EXPORT ParallelReplay {
  public:
    /// Whether the traces are longer than 128 KB, or of no known length, and each message stands for itself:
    /// the catalog has no parameter groups of SAE J1939, and no signals of a GPS receiver of which the traces
    /// may hold messages.
    static bool canReplay(const Trace& trace, const Catalog& catalog);

    /// `catalog` must outlive the object.
    explicit ParallelReplay(Catalog& catalog, const ReplaySettings& settings = {})
        : catalog(catalog), settings(settings) {}

    /// Replays everything, until Trace::stop(), or until a sink is closed. The first lane is that of
    /// the calling thread. Trace::onProgress() is called by all threads, by one at a time. REQUIRES:
    /// canReplay(); there is a lane; to be called once. \throws Error if reading fails: what came before has
    /// been replayed. What a sink throws ends all threads and goes on to the caller.
    void run(Trace& trace, std::span<const ReplayLane> lanes);

    /// What has been met. To be called when run() has ended.
    const ReplayStatistics& statistics() const { return counts; }

  private:
    void runLane(class TraceBlocks& blocks, const ReplayLane& lane, struct EthernetFlows& flows);
    void finish(const ReplayLane& lane, struct EthernetFlows& flows, std::uint64_t block);

    Catalog& catalog;
    ReplaySettings settings;
    ReplayStatistics counts; ///< of the blocks that have ended
};

} // namespace rksignal

#include "value/ParallelReplay.h"

#include "ethernet/EthernetFlows.h"
#include "trace/TraceBlocks.h"
#include "value/ReplayEngine.h"

#include <exception>

namespace rksignal {

namespace {

bool mayHoldPositions(const Trace& trace) {
    for (std::size_t i = 0; i < trace.count(); ++i) {
        if (trace.format(i) == TraceFormat::Records || trace.format(i) == TraceFormat::Nmea) {
            return true;
        }
    }
    return false;
}

} // namespace

bool ParallelReplay::canReplay(const Trace& trace, const Catalog& catalog) {
    return TraceBlocks::isLong(trace) && !catalog.hasParameterGroups() &&
           (catalog.group(SignalKind::Gps).members.empty() || !mayHoldPositions(trace));
}

void ParallelReplay::run(Trace& trace, std::span<const ReplayLane> lanes) {
    TraceBlocks blocks(trace, TraceBlocks::Cut::LinesIfPossible, lanes.size());
    EthernetFlows flows;
    runInThreads(lanes.size(), [&](std::size_t lane) {
        try {
            runLane(blocks, lanes[lane], flows);
        } catch (...) {
            blocks.abandon(std::current_exception());
        }
    });
    if (!blocks.hasFailed()) {
        finish(lanes.front(), flows, blocks.count());
    }
    for (const ReplayLane& lane : lanes) {
        catalog.addStatisticsOf(lane.catalog);
    }
    blocks.conclude();
}

/// What is under way in several frames stays so from one block to the next: a thread that meets such a frame
/// goes on when all blocks before have ended.
void ParallelReplay::runLane(TraceBlocks& blocks, const ReplayLane& lane, EthernetFlows& flows) {
    TraceBlockReader reader(blocks);
    const std::function<void()> await = [&reader] { reader.awaitTurn(); };
    const ReplayEngine::Shared shared{flows, await};
    ReplayEngine engine(lane.catalog, lane.sink, settings, &shared);
    reader.run([&] {
        lane.sink.blockBegins(reader.number(), await);
        reader.deliver(engine);
        reader.awaitTurn();
        lane.sink.blockEnds();
        counts.add(engine.takeStatistics());
        if (lane.sink.closed()) {
            blocks.finish();
        }
        reader.end();
    });
}

/// Decodes what waits for frames that do not come, as a last block. All threads have ended.
void ParallelReplay::finish(const ReplayLane& lane, EthernetFlows& flows, std::uint64_t block) {
    const ReplayEngine::Shared shared{flows, {}};
    ReplayEngine engine(lane.catalog, lane.sink, settings, &shared);
    const std::function<void()> await = [] {};
    lane.sink.blockBegins(block, await);
    engine.finish();
    lane.sink.blockEnds();
    counts.someIp = flows.statistics();
}

} // namespace rksignal

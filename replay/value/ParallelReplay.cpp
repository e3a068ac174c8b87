#include "value/ParallelReplay.h"

#include "ethernet/EthernetDefinitions.h"
#include "trace/TraceBlocks.h"
#include "value/ReplayEngine.h"

#include <exception>

namespace rksignal {

bool ParallelReplay::canReplay(const Trace& trace, const Catalog& catalog) {
    return TraceBlocks::isLong(trace) && !catalog.hasParameterGroups() &&
           catalog.group(SignalKind::Gps).members.empty() && !EthernetDefinitions(catalog).haveSomeIp();
}

void ParallelReplay::run(Trace& trace, std::span<const ReplayLane> lanes) {
    TraceBlocks blocks(trace, TraceBlocks::Cut::LinesIfPossible);
    runInThreads(lanes.size(), [&](std::size_t lane) {
        try {
            runLane(blocks, lanes[lane]);
        } catch (...) {
            blocks.abandon(std::current_exception());
        }
    });
    for (const ReplayLane& lane : lanes) {
        catalog.addStatisticsOf(lane.catalog);
    }
    blocks.conclude();
}

void ParallelReplay::runLane(TraceBlocks& blocks, const ReplayLane& lane) {
    ReplayEngine engine(lane.catalog, lane.sink, settings);
    TraceBlockReader reader(blocks);
    const std::function<void()> await = [&reader] { reader.awaitTurn(); };
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

} // namespace rksignal

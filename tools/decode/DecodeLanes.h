/// \file
/// Decoding by several threads: what each of them has, and how their results become one.
#pragma once

#include "catalog/Catalog.h"
#include "command/TraceRun.h"
#include "output/LastValues.h"
#include "output/OutputBuffer.h"
#include "output/RowSink.h"
#include "value/ParallelReplay.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <span>
#include <vector>

namespace rksignal {

/// Copies of a catalog, one a thread.
class LaneCatalogs {
  public:
    LaneCatalogs(const Catalog& catalog, std::size_t count);
    Catalog& operator[](std::size_t lane) { return catalogs[lane]; }
    std::size_t size() const { return catalogs.size(); }

  private:
    std::deque<Catalog> catalogs; // where they stay
};

/// Writes what a RowSink for all values writes. REQUIRES: run.canReplayInLanes(), not `options.changedOnly`
ReplayStatistics writeRowsInLanes(TraceRun& run, LaneCatalogs& catalogs, const RowSyntax& syntax,
                                  OutputBuffer& out, const RowSink::Options& options);

/// Fills `last` as a replay into it does. `catalogs` must outlive it. REQUIRES: run.canReplayInLanes()
ReplayStatistics findLastInLanes(TraceRun& run, LaneCatalogs& catalogs, LastValues& last,
                                 const std::vector<bool>& selected);

} // namespace rksignal

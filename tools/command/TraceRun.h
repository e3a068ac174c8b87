/// \file
/// One run of a command that replays traces.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "command/TraceOptions.h"
#include "file/OutputBuffer.h"
#include "trace/ChannelMap.h"
#include "trace/TraceMerge.h"
#include "value/Replay.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// Owns the signals and the traces of one run. Remarks, progress and summary go to `Console::messages`.
class TraceRun {
  public:
    /// Loads the definitions, says what was remarkable in them, and opens the traces. Both arguments must
    /// outlive the run. \throws UsageError, std::system_error
    TraceRun(const TraceOptions& options, const Console& console);

    Catalog& catalog() { return signals; }
    SignalStorage& storage() { return signals.storage(); }

    /// Replays all traces into `sink`, with a progress bar for who watches. When a trace is a pipe, `out` is
    /// flushed whenever more is read. \throws std::system_error if reading fails
    ReplayStatistics replay(ValueSink& sink, OutputBuffer& out);

    /// Prints the statistics, unless quiet.
    void summarise(const ReplayStatistics& statistics) const;

    /// Whether all lines of the definitions and of the traces were understood.
    bool understood(const ReplayStatistics& statistics) const;

  private:
    void printNotes() const;
    void openTraces();
    void addTrace(std::unique_ptr<TraceSource> trace);
    std::uint64_t knownSize() const;
    std::uint64_t position() const;

    const TraceOptions& options;
    const Console& console;
    Catalog signals;
    ChannelMap channels;
    std::map<std::string, std::int64_t> shifts; ///< by trace, in nanoseconds
    TraceMerge traces;
    std::function<void()> beforeRead; ///< of any trace, while they are replayed
};

} // namespace rksignal

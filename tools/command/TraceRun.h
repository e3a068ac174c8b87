/// \file
/// One run of a command that replays traces.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "command/TraceOptions.h"
#include "output/OutputBuffer.h"
#include "trace/Trace.h"
#include "value/Replay.h"

#include <cstdint>
#include <map>
#include <optional>
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
    SignalStorage& storage() { return registry; }

    /// Replays all traces into `sink`, with a progress bar for who watches. When a trace is a pipe, `out` is
    /// flushed whenever more is read. \throws Error if reading fails
    ReplayStatistics replay(ValueSink& sink, OutputBuffer& out);

    /// Prints the statistics, unless quiet.
    void summarise(const ReplayStatistics& statistics) const;

    /// Whether all lines of the definitions and of the traces were understood.
    bool understood() const;

  private:
    void printNotes() const;
    void openTraces();
    void addTrace(const std::string& path, std::optional<TraceFormat> format);

    const TraceOptions& options;
    const Console& console;
    SignalStorage registry;
    Catalog signals{registry};
    std::map<std::string, std::int64_t> shifts; ///< by trace, in nanoseconds
    Trace traces;
};

} // namespace rksignal

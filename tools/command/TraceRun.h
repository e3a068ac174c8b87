/// \file
/// One run of a command that replays traces.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "command/Interruption.h"
#include "command/TraceOptions.h"
#include "output/InputSet.h"
#include "output/OutputBuffer.h"
#include "output/OutputFile.h"
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
    /// outlive the run. \throws UsageError, Error
    TraceRun(const TraceOptions& options, const Console& console);

    Catalog& catalog() { return signals; }
    SignalStorage& storage() { return signals.storage(); }

    /// How times are shown; for relative ones the first message is read. \throws Error if that fails
    TimeFormat times();
    /// What a moment of `option` is, in nanoseconds since 1970-01-01 UTC; for relative ones the first message
    /// is read. \throws UsageError, Error
    std::uint64_t momentOf(const std::string& option, const std::string& text);

    /// All that is read. The command adds what it reads itself.
    InputSet& inputs() { return files; }

    /// Replays all traces into `sink` until they end or the program is interrupted, with a progress bar for
    /// who watches. `rows`, if not null, is where the sink writes meanwhile: when a trace is a pipe, it is
    /// flushed whenever more is read; and when it is a terminal, there is no bar between the rows.
    /// \throws Error if reading fails
    ReplayStatistics replay(ValueSink& sink, OutputBuffer* rows);
    bool interrupted() const { return traces.isStopped(); }

    /// Puts the output in its place, unless it would replace a file and nothing in the traces could be
    /// understood: that is said. \throws std::system_error
    void complete(OutputFile& file, const ReplayStatistics& statistics) const;

    /// Prints the statistics, or, if quiet, only what makes the status an error.
    void summarise(const ReplayStatistics& statistics) const;

    /// Whether all lines of the definitions and of the traces were understood, and all interfaces that the
    /// options name have come.
    bool understood(const ReplayStatistics& statistics) const;

  private:
    void printNotes() const;
    void openTraces();
    void addTrace(const std::string& path, std::optional<TraceFormat> format);

    const TraceOptions& options;
    const Console& console;
    Catalog signals;
    std::map<std::string, std::int64_t> shifts; ///< by trace, in nanoseconds
    Trace traces;
    InputSet files;
    std::optional<Interruption> interruption; ///< of `traces`
};

} // namespace rksignal

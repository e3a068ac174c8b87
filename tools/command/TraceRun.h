/// \file
/// One run of a command that replays traces.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "command/Interruption.h"
#include "command/TraceOptions.h"
#include "file/InputSet.h"
#include "file/OutputBuffer.h"
#include "file/OutputFile.h"
#include "trace/ChannelMap.h"
#include "trace/TraceMerge.h"
#include "value/Replay.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
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
    SignalStorage& storage() { return signals.storage(); }

    /// All that is read. The command adds what it reads itself.
    InputSet& inputs() { return files; }

    /// Replays all traces into `sink` until they end or the program is interrupted, with a progress bar for
    /// who watches. `rows`, if not null, is where the sink writes meanwhile: when a trace is a pipe, it is
    /// flushed whenever more is read; and when it is a terminal, there is no bar between the rows.
    /// \throws std::system_error if reading fails
    ReplayStatistics replay(ValueSink& sink, OutputBuffer* rows);
    bool interrupted() const { return interruption->isRequested(); }

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
    void addTrace(std::unique_ptr<TraceSource> trace);
    std::uint64_t knownSize() const;
    std::uint64_t position() const;

    const TraceOptions& options;
    const Console& console;
    Catalog signals;
    ChannelMap channels;
    std::map<std::string, std::int64_t> shifts; ///< by trace, in nanoseconds
    TraceMerge traces;
    InputSet files;
    std::function<void()> beforeRead; ///< of any trace, while they are replayed
    std::optional<Interruption> interruption;
};

} // namespace rksignal

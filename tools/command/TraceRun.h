/// \file
/// One run of a command that replays traces.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "command/TraceInput.h"
#include "command/TraceOptions.h"
#include "output/OutputBuffer.h"
#include "output/OutputFile.h"
#include "value/ParallelReplay.h"
#include "value/Replay.h"

#include <cstdint>
#include <span>
#include <string>

namespace rksignal {

/// Who looks at the messages of a trace on their way into a replay: overrides receive(), and hands on what it
/// got.
class ReplayObserver : public MessageSink {
  public:
    virtual void handOnTo(MessageSink& replay) = 0;
};

/// Owns the signals and the traces of one run. Remarks, progress and summary go to `Console::messages`.
class TraceRun {
  public:
    /// Loads the definitions, says what was remarkable in them, and opens the traces. Both arguments must
    /// outlive the run. \throws UsageError, Error
    TraceRun(const TraceOptions& options, const Console& console);

    Catalog& catalog() { return signals; }
    SignalStorage& storage() { return signals.storage(); }

    const ChannelMap& channels() const { return input.traces().channels(); }

    /// See TraceInput.
    TimeFormat times() { return input.times(); }
    std::uint64_t momentOf(const std::string& option, const std::string& text) {
        return input.momentOf(option, text);
    }
    InputSet& inputs() { return input.inputs(); }

    /// Replays all traces into `sink` until they end or the program is interrupted. `rows` as in
    /// TraceInput::read(). `messages`, if not null, gets each message behind its values. \throws Error if
    /// reading fails
    ReplayStatistics replay(ValueSink& sink, OutputBuffer* rows, MessageSink* messages = nullptr);
    /// Whether several threads can replay the traces, see ParallelReplay.
    bool canReplayInLanes() const { return ParallelReplay::canReplay(input.traces(), signals); }
    /// Lets a thread a lane replay the traces. REQUIRES: canReplayInLanes()
    ReplayStatistics replay(std::span<const ReplayLane> lanes, OutputBuffer* rows);
    /// The same, with `observer` looking at each message before it is decoded.
    ReplayStatistics replay(ValueSink& sink, ReplayObserver& observer);
    bool interrupted() const { return input.interrupted(); }

    /// Puts the output in its place, as TraceInput::complete(). \throws std::system_error
    void complete(OutputFile& file, const ReplayStatistics& statistics) const;

    /// Prints the statistics, or, if quiet, only what makes the status an error.
    void summarise(const ReplayStatistics& statistics) const;

    /// Whether all lines of the definitions and of the traces were understood, and all interfaces that the
    /// options name have come.
    bool understood(const ReplayStatistics& statistics) const;

  private:
    void printNotes() const;

    const TraceOptions& options;
    const Console& console;
    Catalog signals;
    TraceInput input;
};

} // namespace rksignal

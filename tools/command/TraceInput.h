/// \file
/// The traces that a command reads.
#pragma once

#include "Console.h"
#include "command/Interruption.h"
#include "command/TraceOptions.h"
#include "output/InputSet.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"
#include "trace/Trace.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace rksignal {

/// Owns the traces of one run, with the options that say how they are read. There can be one at a time.
class TraceInput {
  public:
    /// Opens nothing yet: channels can be assigned. Both arguments must outlive the object.
    TraceInput(const TraceOptions& options, const Console& console) : options(options), console(console) {}

    /// \throws UsageError, Error
    void open();

    Trace& traces() { return all; }
    const Trace& traces() const { return all; }
    /// All that is read. The command adds what it reads itself.
    InputSet& inputs() { return files; }

    /// How times are shown; for relative ones the first message is read. \throws Error if that fails
    TimeFormat times();
    /// What a moment of `option` is, in nanoseconds since 1970-01-01 UTC; for relative ones the first message
    /// is read. \throws UsageError, Error
    std::uint64_t momentOf(const std::string& option, const std::string& text);

    /// Calls `run`, which reads the traces, with a progress bar for who watches. `rows`, if not null, is what
    /// it writes to meanwhile: when a trace is a pipe, it is flushed whenever more is read; and when it is a
    /// terminal, there is no bar between the rows. \throws what `run` throws
    void read(const std::function<void()>& run, OutputBuffer* rows);
    /// The same for a `run` that reads in one thread while `rows` is written to in another one: `rows` is not
    /// flushed. `run` gets an action for whoever writes, which does so when a trace is a pipe.
    void readAhead(const std::function<void(const std::function<void()>& handedOn)>& run, OutputBuffer* rows);
    /// Lets `sink` follow the traces; by a second thread if there may be two.
    void run(MessageSink& sink);
    bool interrupted() const { return all.isStopped(); }

    /// Puts the output in its place, unless it would replace a file, nothing was read and something in the
    /// traces could not be understood: that is said. \throws std::system_error
    void complete(OutputFile& file, bool holdsSomething) const;

  private:
    void watch(const std::function<void()>& run, const OutputBuffer* rows,
               const std::function<void()>& beforeRead);
    void add(const std::string& path, std::optional<TraceFormat> format);

    const TraceOptions& options;
    const Console& console;
    std::map<std::string, std::int64_t> shifts; ///< by trace, in nanoseconds
    Trace all;
    InputSet files;
    std::optional<Interruption> interruption; ///< of `all`
};

} // namespace rksignal

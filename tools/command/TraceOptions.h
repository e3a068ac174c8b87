/// \file
/// The options of every command that replays traces.
#pragma once

#include "command/DefinitionArguments.h"
#include "command/TimeOptions.h"
#include "output/RowFormat.h"

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace rksignal {

struct TraceOptions : DefinitionOptions {
    std::vector<std::string> traces;  ///< file names, `-` for standard input
    std::vector<std::string> gpsLogs; ///< file names of logs of GPS receivers
    std::vector<std::string> shifts;  ///< `FILE=SECONDS`
    TimeOptions time;
    std::string output;                ///< file name; empty: `Console::output`
    const RowSyntax* syntax = nullptr; ///< form of the rows; null: what the command writes by itself
    std::size_t jobs = 1;              ///< most threads that read and decode
    bool strict = false;               ///< ReplaySettings::strict
    bool quiet = false;                ///< no remarks, no progress, no summary
};

/// Adds how traces are read: `--gps`, `--shift`, the window and the form of times, and what
/// addDefinitionArguments() adds. `options` must outlive `command`, here and below.
void addTraceReadingArguments(CLI::App& command, TraceOptions& options);

/// Adds how traces are replayed: that and `--strict`.
void addReplayArguments(CLI::App& command, TraceOptions& options);

/// Adds `--jobs`; without it there are as many as the machine has cores.
void addJobsArgument(CLI::App& command, TraceOptions& options);

/// Adds what a replay needs: the traces and that.
void addTraceArguments(CLI::App& command, TraceOptions& options);

/// Adds where results are written: `--output`, `--quiet`.
void addResultArguments(CLI::App& command, TraceOptions& options);

/// Adds that, and in which form: `--format`, which is returned.
CLI::Option* addOutputArguments(CLI::App& command, TraceOptions& options);

} // namespace rksignal

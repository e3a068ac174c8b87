#include "decode/DecodeCommand.h"

#include "command/TraceRun.h"
#include "decode/DecodeLanes.h"
#include "decode/SignalSelection.h"
#include "output/LastValues.h"
#include "output/OutputFile.h"
#include "output/RowSink.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace rksignal {
namespace {

std::vector<bool> selection(const DecodeOptions& options, TraceRun& run) {
    for (const std::string& pattern : options.patterns) {
        run.catalog().addSources(pattern);
    }
    return selectSignals(run.catalog(), options.patterns);
}

/// How many threads decode. What a value was before, and what else reaches across messages, is known to one
/// thread only.
std::size_t laneCount(const DecodeOptions& options, const TraceRun& run) {
    return options.jobs > 1 && !options.changedOnly && run.canReplayInLanes() ? options.jobs : 1;
}

ReplayStatistics writeRows(const DecodeOptions& options, TraceRun& run, OutputBuffer& out) {
    const RowSyntax& syntax = options.syntax != nullptr ? *options.syntax : csvSyntax;
    const RowSink::Options rows{selection(options, run), options.changedOnly, run.times()};
    if (const std::size_t lanes = laneCount(options, run); lanes > 1) {
        LaneCatalogs catalogs(run.catalog(), lanes);
        return writeRowsInLanes(run, catalogs, syntax, out, rows);
    }
    RowSink sink(run.catalog(), syntax, out, rows);
    return run.replay(sink, &out);
}

ReplayStatistics writeLast(const DecodeOptions& options, TraceRun& run, OutputBuffer& out) {
    const std::vector<bool> selected = selection(options, run);
    LastValues sink(run.catalog(), selected, run.times());
    const std::size_t lanes = laneCount(options, run);
    LaneCatalogs catalogs(run.catalog(), lanes > 1 ? lanes : 0);
    ReplayStatistics statistics =
        lanes > 1 ? findLastInLanes(run, catalogs, sink, selected) : run.replay(sink, nullptr);
    if (options.syntax == nullptr) {
        sink.writeTable(out);
    } else {
        sink.writeRows(*options.syntax, out);
    }
    return statistics;
}

} // namespace

ExitStatus decode(const DecodeOptions& options, const Console& console) {
    TraceRun run(options, console);
    OutputFile file(options.output, console.output, run.inputs());
    OutputBuffer out(file);
    const ReplayStatistics statistics =
        options.last ? writeLast(options, run, out) : writeRows(options, run, out);
    if (!out.finish()) {
        return Clean; // the reader has seen enough
    }
    run.complete(file, statistics);
    run.summarise(statistics);
    if (run.interrupted()) {
        return Interrupted;
    }
    return run.understood(statistics) ? Clean : Damaged;
}

void addDecodeCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<DecodeOptions>();
    CLI::App& command = *program.add_subcommand("decode", "Decode recorded traces into named values");
    addTraceArguments(command, *options);
    command.add_option("--only", options->patterns, "Only signals whose name matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    CLI::Option* const last =
        command.add_flag("--last", options->last, "Only the last value of each signal, as a table");
    command.add_flag("--changed", options->changedOnly, "Only values that differ from the one before")
        ->excludes(last);
    addJobsArgument(command, *options);
    addOutputArguments(command, *options);
    command.footer(
        "Examples:\n  rksignal decode --dbc drive.dbc --last drive.log\n"
        "  rksignal decode --dbc 0=engine.dbc --dbc 1=body.dbc --only 'Engine.*' -o rows.csv drive.blf");
    command.callback([options, &console, &status] { status = decode(*options, console); });
}

} // namespace rksignal

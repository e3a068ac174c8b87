#include "decode/DecodeCommand.h"

#include "command/TraceRun.h"
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

ReplayStatistics writeRows(const DecodeOptions& options, TraceRun& run, OutputBuffer& out) {
    const RowSyntax& syntax = options.syntax != nullptr ? *options.syntax : csvSyntax;
    RowSink sink(run.catalog(), syntax, out, {selection(options, run), options.changedOnly, run.times()});
    return run.replay(sink, &out);
}

ReplayStatistics writeLast(const DecodeOptions& options, TraceRun& run, OutputBuffer& out) {
    LastValues sink(run.catalog(), selection(options, run), run.times());
    ReplayStatistics statistics = run.replay(sink, nullptr);
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
    addOutputArguments(command, *options);
    command.footer(
        "Examples:\n  rksignal decode --dbc drive.dbc --last drive.log\n"
        "  rksignal decode --dbc 0=engine.dbc --dbc 1=body.dbc --only 'Engine.*' -o rows.csv drive.blf");
    command.callback([options, &console, &status] { status = decode(*options, console); });
}

} // namespace rksignal

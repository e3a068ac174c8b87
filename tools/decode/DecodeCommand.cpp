#include "decode/DecodeCommand.h"

#include "UsageError.h"
#include "decode/DefinitionArguments.h"
#include "decode/ProgressBar.h"
#include "decode/SignalSelection.h"
#include "output/LastValues.h"
#include "output/OutputFile.h"
#include "output/RowSink.h"
#include "replay/Replay.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <memory>
#include <ostream>
#include <system_error>

namespace rksignal {
namespace {

/// One run of the command.
class DecodeRun {
  public:
    DecodeRun(const DecodeOptions& options, const Console& console) : options(options), console(console) {}

    ExitStatus run() {
        assignChannels(options.channels, channels);
        loadDefinitions(options.definitions, channels, catalog);
        printNotes();
        if (catalog.signals().empty()) {
            throw UsageError("no usable definition in " + options.definitions.front() +
                             (options.definitions.size() > 1 ? " and the others" : ""));
        }
        openTraces();
        const OutputFile file(options.output, console.output);
        OutputBuffer out(file.descriptor());
        const ReplayStatistics statistics = options.last ? writeLast(out) : writeRows(out);
        out.flush();
        return conclude(out, statistics);
    }

  private:
    const RowSyntax& syntax() const {
        return options.format == DecodeOptions::Format::JsonLines ? jsonSyntax : csvSyntax;
    }

    void printNotes() const {
        if (!options.quiet) {
            for (const DbcNote& note : catalog.notes()) {
                console.messages << note << '\n';
            }
        }
    }

    void openTraces() {
        for (const std::string& path : options.traces) {
            traces.push_back(std::make_unique<InputFile>(path));
            if (!options.output.empty() && isSameFile(path, options.output)) {
                throw UsageError("the output would overwrite the trace " + path);
            }
        }
    }

    ReplayStatistics writeRows(OutputBuffer& out) {
        RowSink sink(catalog, syntax(), out, {selectSignals(catalog, options.patterns), options.changedOnly});
        return replay(sink, out);
    }

    ReplayStatistics writeLast(OutputBuffer& out) {
        LastValues sink(catalog, selectSignals(catalog, options.patterns));
        ReplayStatistics statistics = replay(sink, out);
        if (options.format == DecodeOptions::Format::Default) {
            sink.writeTable(out);
        } else {
            sink.writeRows(syntax(), out);
        }
        return statistics;
    }

    ReplayStatistics replay(ValueSink& sink, OutputBuffer& out) {
        Replay replay(catalog, channels, sink);
        const std::uint64_t total = knownSize();
        const bool showsProgress = console.interactive && !options.quiet && total > 0;
        ProgressBar bar(console.messages, total);
        std::uint64_t done = 0;
        for (const auto& trace : traces) {
            const bool isPipe = trace->size() == 0;
            LineReader reader(*trace, [&](std::uint64_t position) {
                if (showsProgress) {
                    bar.show(done + position);
                }
                if (isPipe) { // whatever comes next may take its time
                    out.flush();
                }
            });
            replay.run(reader);
            done += reader.position();
        }
        return replay.statistics();
    }

    /// Of all traces; 0 if one has no size.
    std::uint64_t knownSize() const {
        std::uint64_t total = 0;
        for (const auto& trace : traces) {
            if (trace->size() == 0) {
                return 0;
            }
            total += trace->size();
        }
        return total;
    }

    ExitStatus conclude(const OutputBuffer& out, const ReplayStatistics& statistics) const {
        if (out.error() == EPIPE) {
            return Clean; // the reader has seen enough
        }
        if (out.closed()) {
            throw std::system_error(out.error(), std::generic_category(), "cannot write the output");
        }
        if (!options.quiet) {
            statistics.print(console.messages, catalog, channels);
        }
        const auto& notes = catalog.notes();
        const bool definitionsDamaged = std::any_of(notes.begin(), notes.end(), [](const DbcNote& note) {
            return note.severity == DbcNote::Severity::Error;
        });
        return definitionsDamaged || statistics.malformed > 0 ? Damaged : Clean;
    }

    const DecodeOptions& options;
    const Console& console;
    SignalStorage storage;
    Catalog catalog{storage};
    ChannelMap channels;
    std::vector<std::unique_ptr<InputFile>> traces;
};

} // namespace

ExitStatus decode(const DecodeOptions& options, const Console& console) {
    return DecodeRun(options, console).run();
}

void addDecodeCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<DecodeOptions>();
    CLI::App& command = *program.add_subcommand("decode", "Decode recorded CAN traces into named values");
    command.add_option("TRACE", options->traces, "candump logs, one after the other; - is standard input")
        ->required();
    command.add_option("--dbc", options->definitions, "Signal definitions, for one channel or for all")
        ->required()
        ->type_name("[CHANNEL=]FILE")
        ->allow_extra_args(false);
    command.add_option("--channel", options->channels, "Channel number of an interface; can0 is 0 by itself")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
    command.add_option("--signals", options->patterns, "Only signals whose name matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    CLI::Option* const last =
        command.add_flag("--last", options->last, "Only the last value of each signal, as a table");
    command.add_flag("--changed", options->changedOnly, "Only values that differ from the one before")
        ->excludes(last);
    const auto setFormat = [options](const std::string& name) {
        options->format = name == "csv" ? DecodeOptions::Format::Csv : DecodeOptions::Format::JsonLines;
    };
    command.add_option_function<std::string>("--format", setFormat, "Form of the rows")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    command.add_option("-o,--output", options->output, "Write to this file instead of standard output")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary");
    command.callback([options, &console, &status] { status = decode(*options, console); });
}

} // namespace rksignal

#include "convert/ConvertCommand.h"

#include "command/DefinitionArguments.h"
#include "command/FileEnding.h"
#include "command/Interruption.h"
#include "command/TimeOptions.h"
#include "command/UsageError.h"
#include "convert/ConvertDefinitions.h"
#include "convert/FrameIds.h"
#include "convert/FrameSelector.h"
#include "convert/OutputFormat.h"
#include "definition/json/DefinitionText.h"
#include "output/OutputFile.h"
#include "output/WindowSummary.h"
#include "trace/Trace.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <ostream>
#include <utility>

namespace rksignal {
namespace {

std::uint64_t sum(const Counts& counts) {
    std::uint64_t total = 0;
    for (const auto& [name, count] : counts) {
        total += count;
    }
    return total;
}

/// Says what was converted, or, if quiet, only what was not. An archive may hold several traces.
void report(const Trace& trace, const TraceWriter& writer, bool quiet, std::ostream& messages) {
    std::uint64_t lost = 0, lines = 0, bytes = 0;
    for (std::size_t i = 0; i < trace.count(); ++i) {
        lost += trace.report(i).lost;
        lines += trace.report(i).damagedLines;
        bytes += trace.report(i).damagedBytes;
    }
    if (!quiet) {
        messages << "messages converted: " << writer.written() << '\n';
    }
    printCounts(messages, "not held by the output", writer.lost());
    if (!quiet) {
        printCounts(messages, "lost by the recorder", {{"frames", lost}});
    }
    printCounts(messages, "not understood", {{"lines", lines}, {"bytes", bytes}});
    for (std::size_t i = 0; i < trace.count(); ++i) {
        for (const Remark& remark : trace.report(i).remarks) {
            if (!quiet || remark.severity == Severity::Error) {
                messages << (remark.line != 0 ? "  " : "") << remark << '\n';
            }
        }
    }
}

/// \throws UsageError if there are options that hold for traces alone
void refuseCuts(const ConvertOptions& options) {
    const bool cuts = !parseTimeWindow(options.time).isOpen() || !options.ids.empty() ||
                      !options.patterns.empty() || !options.definitions.empty();
    if (cuts) {
        throw UsageError("--from, --to, --for, --ids, --only and --definitions are for traces, not for " +
                         options.output);
    }
}

/// The messages that `--only` chooses.
std::vector<MessageDefinition> loadSelection(const ConvertOptions& options, ChannelMap& channels,
                                             Catalog& catalog, InputSet& inputs) {
    if (options.patterns.empty() != options.definitions.empty()) {
        throw UsageError(options.patterns.empty() ? "--definitions is of no use without --only"
                                                  : "--only needs --definitions");
    }
    DefinitionOptions definitions = options;
    definitions.channels.clear(); // they are assigned already
    loadDefinitions(definitions, channels, catalog, inputs);
    return selectMessages(catalog, options.patterns);
}

ExitStatus convertTrace(const ConvertOptions& options, const OutputFormat& format, Trace& trace,
                        const Console& console) {
    const std::string& input = options.inputs.front();
    InputSet inputs;
    inputs.add(input);
    const FrameIds ids(options.ids);
    Catalog catalog;
    std::vector<MessageDefinition> messages = loadSelection(options, trace.channels(), catalog, inputs);
    const Interruption interruption(trace);
    trace.setWindow(parseTimeWindow(options.time));
    trace.addFile(input);
    if (trace.isStopped()) {
        return Interrupted; // before there was anything to convert
    }
    OutputFile file(options.output, -1, inputs);
    const auto writer = format.makeWriter(file);
    FrameSelector selector(*writer, ids, std::move(messages));
    const bool selects = !ids.empty() || !options.patterns.empty();
    trace.run(selects ? static_cast<MessageSink&>(selector) : *writer);
    writer->finish();
    report(trace, *writer, options.quiet, console.messages);
    if (selects && !options.quiet) {
        console.messages << "messages left out by --ids and --only: " << selector.leftOut() << '\n';
    }
    printWindow(console.messages, trace, {}, options.quiet);
    const bool isWhole = trace.isSound() && sum(writer->lost()) == 0;
    const bool holdsNothing = writer->written() == 0 && (!isWhole || file.replacesFile());
    if (holdsNothing) {
        reportNothing(options, file, console.messages);
    } else {
        file.complete();
    }
    if (trace.isStopped()) {
        return Interrupted;
    }
    return isWhole && !holdsNothing ? Clean : Damaged;
}

} // namespace

ExitStatus convert(const ConvertOptions& options, const Console& console) {
    if (options.schema) {
        OutputFile file("", console.output, {});
        writeText(definitionSchema(), file);
        return Clean;
    }
    Trace trace;
    assignChannels(options.channels, trace.channels());
    const std::string& output = options.output;
    if (hasEnding(output, ".json") || hasEnding(output, ".dbc")) {
        refuseCuts(options);
        return convertDefinitions(options, trace.channels(), console);
    }
    const OutputFormat* const format = outputFormatOf(output);
    if (format != nullptr && options.inputs.size() == 1 && !hasEnding(options.inputs.front(), ".dbc")) {
        return convertTrace(options, *format, trace, console);
    }
    throw UsageError("cannot convert " + options.inputs.front() + " to " + options.output +
                     ": definitions become a .json or a .dbc, a trace becomes a " + outputEndings());
}

void addConvertCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ConvertOptions>();
    CLI::App& command = *program.add_subcommand(
        "convert", "Convert definitions to JSON or DBC, or a trace to another format");
    command.footer("Example:\n  rksignal convert --from +10s --for 5s --ids 1A0,200-2FF drive.blf cut.log");
    CLI::Option* const schema =
        command.add_flag("--schema", options->schema, "Print the JSON Schema of definition files instead");
    CLI::Option* const files = command.add_option(
        "FILE", options->inputs,
        "What is converted, [CHANNEL=]FILE of definitions, several of them, or a trace (- is standard "
        "input); and last the file that is written, whose ending says the format: .json, .dbc, " +
            outputEndings());
    files->excludes(schema);
    addWindowArguments(command, options->time);
    command
        .add_option(
            "--ids", options->ids,
            "Only frames with these identifiers: 1A0, 18FEF100, 100-1FF, lin:3C, flexray:41, ethernet")
        ->type_name("LIST")
        ->allow_extra_args(false);
    command
        .add_option("--only", options->patterns,
                    "Only frames of messages and signals whose name matches; needs --definitions")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    addDefinitionArguments(command, *options);
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
    command.footer("Examples:\n  rksignal convert drive.dbc drive.json\n"
                   "  rksignal convert --channel can0=1 drive.log drive.blf");
    command.callback([options, &console, &status] {
        if (options->inputs.size() < 2 && !options->schema) {
            throw UsageError("convert needs an INPUT and an OUTPUT");
        }
        if (!options->schema) {
            options->output = std::move(options->inputs.back());
            options->inputs.pop_back();
        }
        status = convert(*options, console);
    });
}

} // namespace rksignal

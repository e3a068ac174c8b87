#include "convert/ConvertCommand.h"

#include "command/DefinitionArguments.h"
#include "command/FileEnding.h"
#include "command/Interruption.h"
#include "command/UsageError.h"
#include "convert/OutputFormat.h"
#include "definition/json/DefinitionText.h"
#include "output/OutputFile.h"
#include "trace/Trace.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <numeric>
#include <ostream>

namespace rksignal {
namespace {

void writeText(const std::string& text, OutputFile& file) {
    OutputBuffer out(file);
    out.append(text);
    out.finish();
    file.complete();
}

/// Says why a result that holds nothing is not written.
void reportNothing(const ConvertOptions& options, const OutputFile& file, std::ostream& messages) {
    messages << "rksignal: nothing in " << options.input << " can be converted; " << options.output << " is "
             << (file.replacesFile() ? "left as it was" : "not written") << '\n';
}

/// The number of signals in messages, decoded or not.
std::size_t countSignals(const Catalog& catalog) {
    const auto& messages = catalog.messages();
    return std::accumulate(messages.begin(), messages.end(), std::size_t{0},
                           [](std::size_t sum, const auto& message) { return sum + message.signals.size(); });
}

ExitStatus convertDefinitions(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    const DefinitionSource input = parseDefinitionArgument(options.input, channels);
    InputSet inputs;
    inputs.add(input.path);
    Catalog catalog;
    catalog.addDbc(input.path, input.channel);
    OutputFile file(options.output, -1, inputs);
    const std::size_t lost = countSignals(catalog) - catalog.signals().size();
    const ExitStatus status = lost == 0 && catalog.remarks().count(Severity::Error) == 0 ? Clean : Damaged;
    for (const Remark& remark : catalog.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
    if (!options.quiet) {
        console.messages << "signals converted: " << catalog.signals().size() << '\n';
        printCounts(console.messages, "values lost", {{"signals not converted", lost}});
    }
    if (catalog.signals().empty() && (status != Clean || file.replacesFile())) {
        reportNothing(options, file, console.messages);
        return Damaged;
    }
    writeText(definitionText(catalog.decodedMessages()), file);
    return status;
}

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

ExitStatus convertTrace(const ConvertOptions& options, const OutputFormat& format, Trace& trace,
                        const Console& console) {
    InputSet inputs;
    inputs.add(options.input);
    const Interruption interruption(trace);
    trace.addFile(options.input);
    if (trace.isStopped()) {
        return Interrupted; // before there was anything to convert
    }
    OutputFile file(options.output, -1, inputs);
    const auto writer = format.makeWriter(file);
    trace.run(*writer);
    writer->finish();
    report(trace, *writer, options.quiet, console.messages);
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
    const bool isDbc = hasEnding(options.input, ".dbc");
    if (isDbc && hasEnding(output, ".json")) {
        return convertDefinitions(options, trace.channels(), console);
    }
    if (const OutputFormat* const format = outputFormatOf(output); format != nullptr && !isDbc) {
        return convertTrace(options, *format, trace, console);
    }
    throw UsageError("cannot convert " + options.input + " to " + options.output +
                     ": a .dbc becomes a .json, a trace becomes a " + outputEndings());
}

void addConvertCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ConvertOptions>();
    CLI::App& command =
        *program.add_subcommand("convert", "Convert a DBC file to JSON, or a trace to another format");
    CLI::Option* const schema =
        command.add_flag("--schema", options->schema, "Print the JSON Schema of definition files instead");
    CLI::Option* const input =
        command.add_option("INPUT", options->input, "[CHANNEL=]FILE.dbc, or a trace; - is standard input");
    CLI::Option* const output = command.add_option(
        "OUTPUT", options->output, "A file; its ending says the format: .json, " + outputEndings());
    input->excludes(schema);
    command
        .add_option("--channel", options->channels,
                    "Channel of an interface: its name, FILE, or FILE:INTERFACE")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
    command.footer("Examples:\n  rksignal convert drive.dbc drive.json\n"
                   "  rksignal convert --channel can0=1 drive.log drive.blf");
    command.callback([options, &console, &status, output] {
        if (output->empty() && !options->schema) {
            throw UsageError("convert needs an INPUT and an OUTPUT");
        }
        status = convert(*options, console);
    });
}

} // namespace rksignal

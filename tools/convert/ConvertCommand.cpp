#include "convert/ConvertCommand.h"

#include "command/DefinitionArguments.h"
#include "command/FileEnding.h"
#include "command/Interruption.h"
#include "command/UsageError.h"
#include "convert/ConvertDefinitions.h"
#include "convert/OutputFormat.h"
#include "definition/json/DefinitionText.h"
#include "output/OutputFile.h"
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

ExitStatus convertTrace(const ConvertOptions& options, const OutputFormat& format, Trace& trace,
                        const Console& console) {
    const std::string& input = options.inputs.front();
    InputSet inputs;
    inputs.add(input);
    const Interruption interruption(trace);
    trace.addFile(input);
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
    if (hasEnding(output, ".json") || hasEnding(output, ".dbc")) {
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
    CLI::Option* const schema =
        command.add_flag("--schema", options->schema, "Print the JSON Schema of definition files instead");
    CLI::Option* const files = command.add_option(
        "FILE", options->inputs,
        "What is converted, [CHANNEL=]FILE of definitions, several of them, or a trace (- is standard "
        "input); and last the file that is written, whose ending says the format: .json, .dbc, " +
            outputEndings());
    files->excludes(schema);
    command.add_option("--cluster", options->clusters, "Read only these clusters of ARXML and KCD files")
        ->type_name("[CHANNEL=]NAME")
        ->allow_extra_args(false);
    command
        .add_option("--channel", options->channels,
                    "Channel of an interface: its name, FILE, or FILE:INTERFACE")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
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

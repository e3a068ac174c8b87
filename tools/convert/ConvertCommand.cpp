#include "convert/ConvertCommand.h"

#include "command/DefinitionArguments.h"
#include "command/UsageError.h"
#include "convert/TraceWriter.h"
#include "definition/DbcConversion.h"
#include "definition/json/DefinitionText.h"
#include "output/OutputFile.h"
#include "output/PartialFile.h"
#include "trace/Trace.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <string_view>

namespace rksignal {
namespace {

void refuseOverwriting(const std::string& input, const ConvertOptions& options) {
    if (isSameFile(input, options.output)) {
        throw UsageError("the output would overwrite " + input);
    }
}

void writeText(const std::string& text, int descriptor) {
    OutputBuffer out(descriptor);
    out.append(text);
    out.finish();
}

void replaceText(const std::string& path, const std::string& text) {
    PartialFile part(path);
    writeText(text, OutputFile(part.path(), -1).descriptor());
    part.complete();
}

void report(const ConvertedDbc& converted, std::ostream& messages) {
    for (const DbcNote& note : converted.notes) {
        messages << note << '\n';
    }
    printSummary(messages, converted);
}

ExitStatus convertDefinitions(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    const DefinitionArgument input = parseDefinitionArgument(options.input, channels);
    refuseOverwriting(input.path, options);
    const ConvertedDbc converted = convertDbc(readDbc(input.path), input.channel);
    replaceText(options.output, definitionText(converted.definitions));
    if (!options.quiet) {
        report(converted, console.messages);
    }
    const bool understood =
        std::none_of(converted.notes.begin(), converted.notes.end(),
                     [](const DbcNote& note) { return note.severity == DbcNote::Severity::Error; });
    return understood && converted.lostSignals == 0 && converted.narrowedSignals == 0 ? Clean : Damaged;
}

void report(const TraceReport& trace, const TraceWriter& writer, std::ostream& messages) {
    messages << "messages converted: " << writer.written() << '\n';
    printCounts(messages, "not held by the output", writer.lost());
    printCounts(messages, "lost by the recorder", {{"frames", trace.lost}});
    printCounts(messages, "not understood", {{"lines", trace.damagedLines}, {"bytes", trace.damagedBytes}});
    for (const Remark& remark : trace.remarks) {
        messages << (remark.line != 0 ? "  " : "") << remark << '\n';
    }
}

ExitStatus convertTrace(const ConvertOptions& options, Trace& trace, TraceWriter& writer,
                        const Console& console) {
    trace.addFile(options.input);
    trace.run(writer);
    writer.finish();
    if (!options.quiet) {
        report(trace.report(0), writer, console.messages);
    }
    return trace.isSound() ? Clean : Damaged;
}

ExitStatus toRecords(const ConvertOptions& options, Trace& trace, const Console& console) {
    refuseOverwriting(options.input, options);
    PartialFile part(options.output);
    RecordFileWriter writer(part.path());
    const ExitStatus status = convertTrace(options, trace, writer, console);
    part.complete();
    return status;
}

ExitStatus toCandump(const ConvertOptions& options, Trace& trace, const Console& console) {
    refuseOverwriting(options.input, options);
    PartialFile part(options.output);
    const OutputFile file(part.path(), -1);
    CandumpWriter writer(file.descriptor());
    const ExitStatus status = convertTrace(options, trace, writer, console);
    part.complete();
    return status;
}

} // namespace

ExitStatus convert(const ConvertOptions& options, const Console& console) {
    if (options.schema) {
        writeText(definitionSchema(), console.output);
        return Clean;
    }
    Trace trace;
    assignChannels(options.channels, trace.channels());
    const std::string_view output = options.output;
    const bool isDbc = options.input.ends_with(".dbc");
    if (isDbc && output.ends_with(".json")) {
        return convertDefinitions(options, trace.channels(), console);
    }
    if (!isDbc && output.ends_with(".rktrace")) {
        return toRecords(options, trace, console);
    }
    if (!isDbc && output.ends_with(".log")) {
        return toCandump(options, trace, console);
    }
    throw UsageError("cannot convert " + options.input + " to " + options.output +
                     ": a .dbc becomes a .json, a trace becomes a .rktrace or a .log");
}

void addConvertCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ConvertOptions>();
    CLI::App& command =
        *program.add_subcommand("convert", "Convert a DBC file to JSON, or a trace to another format");
    CLI::Option* const schema =
        command.add_flag("--schema", options->schema, "Print the JSON Schema of definition files instead");
    CLI::Option* const input =
        command.add_option("INPUT", options->input, "[CHANNEL=]FILE.dbc, or a trace; - is standard input");
    CLI::Option* const output =
        command.add_option("OUTPUT", options->output, "FILE.json, FILE.rktrace or FILE.log");
    input->excludes(schema);
    command.add_option("--channel", options->channels, "Channel number of an interface; can0 is 0 by itself")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary");
    command.callback([options, &console, &status, output] {
        if (output->empty() && !options->schema) {
            throw UsageError("convert needs an INPUT and an OUTPUT");
        }
        status = convert(*options, console);
    });
}

} // namespace rksignal

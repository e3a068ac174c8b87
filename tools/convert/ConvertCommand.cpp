#include "convert/ConvertCommand.h"

#include "command/DefinitionArguments.h"
#include "definition/json/DefinitionText.h"
#include "file/OutputFile.h"
#include "file/PartialFile.h"
#include "trace/TraceFile.h"
#include "trace/TraceWriter.h"
#include "trace/UsageError.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <numeric>
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

/// The number of signals in messages, decoded or not.
std::size_t countSignals(const Catalog& catalog) {
    const auto& messages = catalog.messages();
    return std::accumulate(messages.begin(), messages.end(), std::size_t{0},
                           [](std::size_t sum, const auto& message) { return sum + message.signals.size(); });
}

ExitStatus convertDefinitions(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    const DefinitionArgument input = parseDefinitionArgument(options.input, channels);
    refuseOverwriting(input.path, options);
    Catalog catalog;
    catalog.addDbc(input.path, input.channel);
    replaceText(options.output, definitionText(catalog.decodedMessages()));
    const std::size_t lost = countSignals(catalog) - catalog.signals().size();
    if (!options.quiet) {
        for (const Remark& remark : catalog.remarks()) {
            console.messages << remark << '\n';
        }
        console.messages << "signals converted: " << catalog.signals().size() << '\n';
        printCounts(console.messages, "values lost", {{"signals not converted", lost}});
    }
    return lost == 0 && catalog.remarks().count(Severity::Error) == 0 ? Clean : Damaged;
}

void report(const TraceSource& trace, const TraceWriter& writer, std::ostream& messages) {
    const TraceDamage& damage = trace.damage();
    messages << "messages converted: " << writer.written() << '\n';
    printCounts(messages, "not held by the output", writer.lost());
    printCounts(messages, "lost by the recorder", {{"frames", damage.dropped}});
    printCounts(messages, "not understood", {{"lines", damage.malformed}, {"bytes", damage.bytes}});
    for (const std::string& text : damage.texts) {
        messages << "  " << text << '\n';
    }
    for (const std::string& remark : damage.remarks) {
        messages << remark << '\n';
    }
}

ExitStatus convertTrace(const ConvertOptions& options, ChannelMap& channels, TraceWriter& writer,
                        const Console& console) {
    const auto trace = openTrace(options.input, channels);
    while (trace->next()) {
        trace->deliver(writer, trace->timestamp());
    }
    writer.finish();
    if (!options.quiet) {
        report(*trace, writer, console.messages);
    }
    const TraceDamage& damage = trace->damage();
    return damage.malformed == 0 && damage.bytes == 0 && damage.remarks.empty() ? Clean : Damaged;
}

ExitStatus toRecords(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    refuseOverwriting(options.input, options);
    PartialFile part(options.output);
    RecordFileWriter writer(part.path());
    const ExitStatus status = convertTrace(options, channels, writer, console);
    part.complete();
    return status;
}

ExitStatus toCandump(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    refuseOverwriting(options.input, options);
    PartialFile part(options.output);
    const OutputFile file(part.path(), -1);
    CandumpWriter writer(file.descriptor());
    const ExitStatus status = convertTrace(options, channels, writer, console);
    part.complete();
    return status;
}

} // namespace

ExitStatus convert(const ConvertOptions& options, const Console& console) {
    if (options.schema) {
        writeText(definitionSchema(), console.output);
        return Clean;
    }
    ChannelMap channels;
    assignChannels(options.channels, channels);
    const std::string_view output = options.output;
    const bool isDbc = options.input.ends_with(".dbc");
    if (isDbc && output.ends_with(".json")) {
        return convertDefinitions(options, channels, console);
    }
    if (!isDbc && output.ends_with(".rktrace")) {
        return toRecords(options, channels, console);
    }
    if (!isDbc && output.ends_with(".log")) {
        return toCandump(options, channels, console);
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

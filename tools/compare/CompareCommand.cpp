#include "compare/CompareCommand.h"

#include "command/MessageTee.h"
#include "command/TraceInput.h"
#include "command/UsageError.h"
#include "compare/DefinitionComparison.h"
#include "compare/Difference.h"
#include "compare/TraceContent.h"
#include "output/OutputFile.h"
#include "output/ReplaySummary.h"
#include "output/WindowSummary.h"
#include "value/Replay.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

namespace rksignal {
namespace {

/// One run of the command.
class CompareRun {
  public:
    CompareRun(const CompareOptions& options, const Console& console) : options(options), console(console) {}

    int run() {
        const std::string& left = options.traces.front();
        const std::string& right = options.traces.back();
        const bool isDefinitions = isDefinition(left);
        if (isDefinitions != isDefinition(right)) {
            throw UsageError(left + " and " + right + ": one is a definition file, the other one is not");
        }
        Comparison result{isDefinitions ? "definitions" : "traces", left, right};
        isDefinitions ? compareDefinitionFiles(result) : compareTraceFiles(result);
        if (isInterrupted) {
            return Interrupted; // half of a trace is no trace
        }
        write(result);
        if (!isSound) {
            return Trouble;
        }
        return result.differences.empty() ? Same : Different;
    }

  private:
    static bool isDefinition(const std::string& path) { return path != "-" && isDefinitionFile(path); }

    void compareDefinitionFiles(Comparison& result) {
        Catalog left;
        Catalog right;
        load(result.left, left);
        load(result.right, right);
        compareDefinitions(left, right, result.differences);
    }

    void load(const std::string& path, Catalog& catalog) {
        DefinitionOptions one;
        one.definitions = {path};
        one.clusters = options.clusters;
        ChannelMap channels;
        loadDefinitions(one, channels, catalog, inputs);
        for (const Remark& remark : catalog.remarks()) {
            const bool isError = remark.severity == Severity::Error;
            isSound = isSound && !isError;
            if (!options.quiet || isError) {
                console.messages << remark << '\n';
            }
        }
    }

    void compareTraceFiles(Comparison& result) {
        const TraceContent left = read(result.left);
        const TraceContent right = isInterrupted ? TraceContent() : read(result.right);
        compareTraces(left, right, options.tolerance / 100, result.differences);
    }

    TraceContent read(const std::string& path) {
        TraceOptions one = options;
        one.traces = {path};
        TraceInput input(one, console);
        Catalog catalog;
        loadDefinitions(options, input.traces().channels(), catalog, inputs);
        input.open();
        inputs.add(path);
        TraceContent content;
        SignalExtremes extremes(catalog);
        Replay replay(catalog, extremes);
        MessageTee both(content.survey, replay);
        input.read([&] { input.traces().run(both); }, nullptr);
        replay.finish();
        content.signals = extremes.byName();
        printDamage(console.messages, input.traces());
        printWindow(console.messages, input.traces(),
                    {options.time.style, input.traces().windowReport().first}, options.quiet);
        isInterrupted = isInterrupted || input.interrupted();
        isSound = isSound && input.traces().isSound();
        return content;
    }

    void write(const Comparison& result) const {
        OutputFile file(options.output, console.output, inputs);
        OutputBuffer out(file);
        options.json ? result.writeJson(out) : result.writeText(out);
        if (out.finish()) {
            file.complete();
        }
        if (!options.quiet) {
            console.messages << "differences: " << result.differences.size() << '\n';
        }
    }

    const CompareOptions& options;
    const Console& console;
    InputSet inputs;
    bool isSound = true;
    bool isInterrupted = false;
};

} // namespace

int compare(const CompareOptions& options, const Console& console) {
    return CompareRun(options, console).run();
}

void addCompareCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<CompareOptions>();
    CLI::App& command =
        *program.add_subcommand("compare", "Tell what differs between two traces, or two definition files");
    command.footer("Example:\n  rksignal compare --dbc drive.dbc --tolerance 5 monday.log tuesday.log\n"
                   "  rksignal compare old.dbc new.arxml");
    command.add_option("FILE", options->traces, "Two traces, or two definition files")
        ->expected(2)
        ->required();
    addTraceReadingArguments(command, *options);
    command
        .add_option("--tolerance", options->tolerance,
                    "Counts, cycles and values of traces that differ by less are the same")
        ->type_name("PERCENT")
        ->check(CLI::Range(0.0, 100.0));
    command
        .add_option_function<std::string>(
            "--format", [options](const std::string& name) { options->json = name == "json"; },
            "Lines of text, or one json object")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json"}));
    addResultArguments(command, *options);
    command.callback([options, &console, &status] { status = compare(*options, console); });
}

} // namespace rksignal

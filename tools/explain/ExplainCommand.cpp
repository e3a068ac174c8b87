#include "explain/ExplainCommand.h"

#include "command/TraceRun.h"
#include "command/UsageError.h"
#include "explain/SignalReport.h"
#include "explain/SignalWatch.h"
#include "output/OutputFile.h"
#include "text/ClosestNames.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace rksignal {
namespace {

/// One run of the command.
class ExplainRun {
  public:
    ExplainRun(const ExplainOptions& options, const Console& console)
        : options(options), run(options, console), file(options.output, console.output, run.inputs()),
          out(file) {
        run.catalog().addSources(options.instance);
    }

    ExitStatus explain() {
        const std::optional<std::size_t> signal = find();
        const bool hasValue = signal ? explainSignal(*signal) : explainDropped();
        if (!out.finish()) {
            return Clean; // the reader has seen enough
        }
        file.complete();
        if (run.interrupted()) {
            return Interrupted;
        }
        return hasValue && isUnderstood ? Clean : Damaged;
    }

  private:
    std::optional<std::size_t> find() {
        const auto& names = run.storage().instancesByName;
        const auto entry = names.find(options.instance);
        return entry != names.end() ? std::optional(run.catalog().indexOf(entry->second->id)) : std::nullopt;
    }

    /// \return whether it has a value
    bool explainSignal(std::size_t index) {
        SignalWatch watch(run.catalog(), index, options.frames);
        const ReplayStatistics statistics = run.replay(watch, watch);
        isUnderstood = run.understood(statistics);
        const ReplayResult result{run.catalog(), statistics, run.channels()};
        return writeExplanation(result, index, watch, run.times(), out);
    }

    /// Of a signal that is defined and is not decoded. \return false: it has no value
    bool explainDropped() {
        if (writeDropped(run.catalog(), options.instance, out)) {
            return false;
        }
        std::vector<std::string_view> names;
        for (const MessageDefinition& message : run.catalog().messages()) {
            for (const SignalDefinition& signal : message.signals) {
                names.push_back(signal.common().instance);
            }
        }
        throw UsageError("there is no signal " + options.instance + closestNames(options.instance, names));
    }

    const ExplainOptions& options;
    TraceRun run;
    OutputFile file;
    OutputBuffer out;
    bool isUnderstood = true;
};

} // namespace

ExitStatus explain(const ExplainOptions& options, const Console& console) {
    return ExplainRun(options, console).explain();
}

void addExplainCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App& command =
        *program.add_subcommand("explain", "Show how a signal comes to its value, or why it has none");
    command.add_option("INSTANCE", options->instance, "Name of the signal")->required();
    addTraceArguments(command, *options);
    command.add_option("--frames", options->frames, "How many of the last frames are shown")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000));
    addResultArguments(command, *options);
    command.footer("Example:\n  rksignal explain Engine.Speed --dbc drive.dbc drive.log");
    command.callback([options, &console, &status] { status = explain(*options, console); });
}

} // namespace rksignal

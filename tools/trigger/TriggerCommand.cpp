#include "trigger/TriggerCommand.h"

#include "command/SecondsArgument.h"
#include "command/TraceRun.h"
#include "command/UsageError.h"
#include "trigger/FiringExplanations.h"
#include "trigger/FiringRows.h"
#include "trigger/WindowWriter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>

namespace rksignal {
namespace {

std::vector<std::uint64_t> parseMoments(const TriggerOptions& options, TraceRun& run) {
    std::vector<std::uint64_t> moments;
    for (const std::string& text : options.moments) {
        moments.push_back(run.momentOf("--at", text));
    }
    std::sort(moments.begin(), moments.end());
    return moments;
}

std::optional<std::uint64_t> parseTimeout(const TriggerOptions& options) {
    return options.timeout.empty() ? std::nullopt : std::optional(parseSeconds("--timeout", options.timeout));
}

/// One run of the command.
class TriggerRun {
  public:
    TriggerRun(const TriggerOptions& options, const Console& console)
        : options(options), console(console), timeout(parseTimeout(options)), run(options, console),
          moments(parseMoments(options, run)), times(run.times()),
          triggers(run.catalog(), someConditions(),
                   {.timeout = timeout,
                    .moments = moments,
                    .atMoment = [this](std::uint64_t moment) { explanations->explainAll(moment); },
                    .times = times}) {}

    TriggerStatus replay() {
        if (options.conditions.print) {
            return print();
        }
        openWindows();
        OutputFile file(options.output, console.output, run.inputs());
        OutputBuffer out(file);
        const ReplayStatistics statistics = writesText() ? writeExplanations(out) : writeRows(out);
        if (!out.finish()) {
            return Fired; // the reader has seen enough
        }
        run.complete(file, statistics);
        summarise(statistics);
        return conclude(statistics);
    }

  private:
    TriggerStatus print() {
        OutputFile file(options.output, console.output, run.inputs());
        OutputBuffer out(file);
        for (std::size_t i = 0; i < triggers.size(); ++i) {
            out.append(printedCondition(triggers.condition(i)));
        }
        out.finish();
        file.complete();
        return Fired;
    }

    bool writesText() const { return options.explain || !options.moments.empty(); }

    std::vector<Condition> someConditions() {
        auto conditions =
            loadConditions(options.conditions, run.catalog(), run.inputs(), console, options.quiet);
        if (conditions.empty()) {
            throw UsageError("no condition: --when or --when-file gives them");
        }
        return conditions;
    }

    void openWindows() {
        if (!options.windows.extent.empty()) {
            windows.emplace(run.catalog(), triggers, parseExtent(options.windows),
                            WindowWriter::Folder{options.windows.folder,
                                                 options.overwrite ? WindowWriter::Earlier::Replace
                                                                   : WindowWriter::Earlier::Refuse,
                                                 framesFormat(options.windows)},
                            run.inputs(), times);
        }
    }

    ReplayStatistics writeRows(OutputBuffer& out) {
        FiringRows rows(options.syntax != nullptr ? *options.syntax : csvSyntax, out, times);
        return replayInto(rows, out);
    }

    ReplayStatistics writeExplanations(OutputBuffer& out) {
        explanations.emplace(triggers, out, times, options.explain);
        return replayInto(*explanations, out);
    }

    ReplayStatistics replayInto(FiringSink& sink, OutputBuffer& out) {
        triggers.addFiringSink(sink);
        if (windows) {
            triggers.addFiringSink(*windows);
            triggers.addValueSink(*windows);
        }
        ReplayStatistics statistics = run.replay(triggers, &out, windows ? windows->messages() : nullptr);
        triggers.finish();
        if (windows) {
            windows->finish();
        }
        return statistics;
    }

    void summarise(const ReplayStatistics& statistics) const {
        run.summarise(statistics);
        if (options.quiet) {
            return;
        }
        for (std::size_t i = 0; i < triggers.size(); ++i) {
            const TriggerCounts& counts = triggers.counts(i);
            console.messages << triggers.condition(i).name() << ": evaluations " << counts.evaluations()
                             << ", true " << counts.isTrue << ", false " << counts.isFalse << ", unknown "
                             << counts.isUnknown << ", firings " << counts.firings << '\n';
        }
        if (windows) {
            windows->summarise(console.messages);
        }
    }

    TriggerStatus conclude(const ReplayStatistics& statistics) const {
        if (run.interrupted()) {
            return Stopped;
        }
        if (!run.understood(statistics)) {
            return Failed;
        }
        for (std::size_t i = 0; i < triggers.size(); ++i) {
            if (triggers.counts(i).firings > 0) {
                return Fired;
            }
        }
        return NothingFired;
    }

    const TriggerOptions& options;
    const Console& console;
    std::optional<std::uint64_t> timeout;
    TraceRun run;
    std::vector<std::uint64_t> moments;
    TimeFormat times;
    Triggers triggers;
    std::optional<FiringExplanations> explanations;
    std::optional<WindowWriter> windows;
};

} // namespace

TriggerStatus trigger(const TriggerOptions& options, const Console& console) {
    return TriggerRun(options, console).replay();
}

namespace {

/// `--to` named the folder of the windows before there were options of time. What is no time still does.
void takeFolder(TriggerOptions& options) {
    if (options.windows.extent.empty() || !options.windows.folder.empty()) {
        return;
    }
    if (options.time.to.empty() || parseMoment(options.time.to)) {
        throw UsageError("--window requires --windows");
    }
    options.windows.folder.swap(options.time.to);
}

} // namespace

void addTriggerCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<TriggerOptions>();
    CLI::App& command = *program.add_subcommand("trigger", "Try trigger conditions on recorded traces");
    addTraceArguments(command, *options);
    addJobsArgument(command, *options);
    addConditionArguments(command, options->conditions);
    addPrintArgument(command, options->conditions);
    command.add_flag("--edge", options->conditions.options.edgeTrigger,
                     "Fire only when a condition becomes true");
    command.add_option("--timeout", options->timeout, "A signal not written for longer is unknown")
        ->type_name("SECONDS");
    CLI::Option* const explain =
        command.add_flag("--explain", options->explain, "For each firing the value of every sub-expression");
    CLI::Option* const moments =
        command.add_option("--at", options->moments, "The value of every sub-expression at this time")
            ->type_name("TIME")
            ->allow_extra_args(false);
    CLI::Option* const window = addWindowFileArguments(command, options->windows);
    command.add_flag("--overwrite", options->overwrite, "FOLDER may hold windows of an earlier run")
        ->needs(window);
    addOutputArguments(command, *options)->excludes(explain)->excludes(moments);
    command.footer("Examples:\n  rksignal trigger --dbc drive.dbc --edge --when 'Engine.Speed > 3000 && "
                   "Gear.Lever == 2' drive.log\n"
                   "  rksignal trigger --dbc drive.dbc --when 'hot = Engine.Oil > 120' --explain drive.log");
    command.callback([options, &console, &status] {
        takeFolder(*options);
        status = trigger(*options, console);
    });
}

} // namespace rksignal

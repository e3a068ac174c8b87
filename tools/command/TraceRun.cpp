#include "command/TraceRun.h"

#include "command/DefinitionArguments.h"
#include "command/MessageTee.h"
#include "command/NearMatches.h"
#include "command/UsageError.h"
#include "output/ReplaySummary.h"
#include "output/WindowSummary.h"

#include <ostream>

namespace rksignal {
namespace {

/// The first definition file, and whether there are others.
std::string nameFiles(const DefinitionOptions& options) {
    return options.definitions.front() + (options.definitions.size() == 1 ? "" : " and the others");
}

} // namespace

TraceRun::TraceRun(const TraceOptions& options, const Console& console)
    : options(options), console(console), input(options, console) {
    if (options.definitions.empty()) {
        throw UsageError("there are no definitions: --definitions gives them");
    }
    loadDefinitions(options, input.traces().channels(), signals, input.inputs());
    printNotes();
    if (signals.signals().empty()) {
        throw UsageError("no usable definition in " + nameFiles(options));
    }
    input.open();
}

void TraceRun::printNotes() const {
    for (const Remark& remark : signals.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
}

ReplayStatistics TraceRun::replay(ValueSink& sink, OutputBuffer* rows, MessageSink* messages) {
    Replay replay(signals, sink, {.strict = options.strict});
    if (messages == nullptr && options.jobs > 1) {
        input.readAhead([&](const auto& handedOn) { replay.runAhead(input.traces(), handedOn); }, rows);
        return replay.statistics();
    }
    if (messages == nullptr) {
        input.read([&] { replay.run(input.traces()); }, rows);
        return replay.statistics();
    }
    MessageTee both(replay, *messages);
    input.read([&] { input.traces().run(both); }, rows);
    replay.finish();
    return replay.statistics();
}

ReplayStatistics TraceRun::replay(std::span<const ReplayLane> lanes, OutputBuffer* rows) {
    ParallelReplay replay(signals, {.strict = options.strict});
    input.readAhead([&](const auto&) { replay.run(input.traces(), lanes); }, rows);
    return replay.statistics();
}

ReplayStatistics TraceRun::replay(ValueSink& sink, ReplayObserver& observer) {
    Replay replay(signals, sink, {.strict = options.strict});
    observer.handOnTo(replay);
    input.read(
        [&] {
            input.traces().run(observer);
            replay.finish();
        },
        nullptr);
    return replay.statistics();
}

void TraceRun::complete(OutputFile& file, const ReplayStatistics& statistics) const {
    input.complete(file, statistics.messages() > 0);
}

void TraceRun::summarise(const ReplayStatistics& statistics) const {
    const Trace& traces = input.traces();
    if (options.quiet) {
        printDamage(console.messages, traces);
    } else {
        printSummary(console.messages, statistics, signals, traces);
        printMisplaced(console.messages, signals, statistics, traces.channels());
        printNearMatches(console.messages, signals, statistics);
    }
    printWindow(console.messages, traces, {options.time.style, traces.windowReport().first}, options.quiet);
    for (const std::string& name : absentInterfaces(signals, statistics, traces.channels())) {
        console.messages << "warning: the options name an interface " << name << ", which no trace has\n";
    }
}

bool TraceRun::understood(const ReplayStatistics& statistics) const {
    const Trace& traces = input.traces();
    return traces.isSound() && absentInterfaces(signals, statistics, traces.channels()).empty() &&
           signals.remarks().count(Severity::Error) == 0;
}

} // namespace rksignal

#include "command/TraceRun.h"

#include "command/DefinitionArguments.h"
#include "command/NearMatches.h"
#include "command/ProgressBar.h"
#include "command/SecondsArgument.h"
#include "command/UsageError.h"
#include "output/ReplaySummary.h"
#include "output/WindowSummary.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace rksignal {
namespace {

std::map<std::string, std::int64_t> parseShifts(const TraceOptions& options) {
    std::map<std::string, std::int64_t> shifts;
    for (const std::string& argument : options.shifts) {
        const std::size_t equals = argument.rfind('=');
        const std::string path = argument.substr(0, equals);
        if (equals == argument.npos) {
            throw UsageError("--shift " + argument + ": not of the form FILE=SECONDS");
        }
        if (std::count(options.traces.begin(), options.traces.end(), path) +
                std::count(options.gpsLogs.begin(), options.gpsLogs.end(), path) ==
            0) {
            throw UsageError("--shift " + argument + ": " + path + " is none of the traces");
        }
        shifts[path] = parseSignedSeconds("--shift", argument.substr(equals + 1));
    }
    return shifts;
}

/// The first definition file, and whether there are others.
std::string nameFiles(const DefinitionOptions& options) {
    return options.definitions.front() + (options.definitions.size() == 1 ? "" : " and the others");
}

} // namespace

TraceRun::TraceRun(const TraceOptions& options, const Console& console) : options(options), console(console) {
    if (options.definitions.empty()) {
        throw UsageError("there are no definitions: --definitions gives them");
    }
    loadDefinitions(options, traces.channels(), signals, files);
    printNotes();
    if (signals.signals().empty()) {
        throw UsageError("no usable definition in " + nameFiles(options));
    }
    openTraces();
}

void TraceRun::printNotes() const {
    for (const Remark& remark : signals.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
}

void TraceRun::openTraces() {
    if (options.traces.empty() && options.gpsLogs.empty()) {
        throw UsageError("there is no trace");
    }
    shifts = parseShifts(options);
    traces.setWindow(parseTimeWindow(options.time));
    interruption.emplace(traces);
    for (const std::string& path : options.traces) {
        addTrace(path, std::nullopt);
    }
    for (const std::string& path : options.gpsLogs) {
        addTrace(path, TraceFormat::Nmea);
    }
}

void TraceRun::addTrace(const std::string& path, std::optional<TraceFormat> format) {
    const auto shift = shifts.find(path);
    traces.addFile(path, {shift != shifts.end() ? shift->second : 0, format});
    files.add(path);
}

TimeFormat TraceRun::times() {
    const bool isRelative = options.time.style == TimeStyle::Relative;
    return {options.time.style, isRelative ? traces.start().value_or(0) : 0};
}

std::uint64_t TraceRun::momentOf(const std::string& option, const std::string& text) {
    const Moment moment = parseMomentArgument(option, text);
    return moment.at(moment.isRelative ? traces.start().value_or(0) : 0);
}

ReplayStatistics TraceRun::replay(ValueSink& sink, OutputBuffer* rows) {
    Replay replay(signals, sink, {.strict = options.strict});
    const std::uint64_t total = traces.size();
    const bool showsProgress =
        console.columns > 0 && !options.quiet && total > 0 && (rows == nullptr || !rows->isTerminal());
    ProgressBar bar(console.messages, total, console.columns);
    traces.onProgress([&] {
        if (showsProgress) {
            bar.show(traces.position());
        }
        if (total == 0 && rows != nullptr) { // whatever comes next may take its time
            rows->flush();
        }
    });
    replay.run(traces);
    traces.onProgress(nullptr);
    return replay.statistics();
}

void TraceRun::complete(OutputFile& file, const ReplayStatistics& statistics) const {
    if (file.replacesFile() && statistics.messages() == 0 && !traces.isSound()) {
        console.messages << "rksignal: " << file.name()
                         << " is left as it was: nothing in the traces could be understood\n";
        return;
    }
    file.complete();
}

void TraceRun::summarise(const ReplayStatistics& statistics) const {
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
    return traces.isSound() && absentInterfaces(signals, statistics, traces.channels()).empty() &&
           signals.remarks().count(Severity::Error) == 0;
}

} // namespace rksignal

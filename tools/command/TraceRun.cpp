#include "command/TraceRun.h"

#include "command/DefinitionArguments.h"
#include "command/ProgressBar.h"
#include "command/SecondsArgument.h"
#include "command/UsageError.h"
#include "output/OutputFile.h"
#include "output/ReplaySummary.h"

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
    const auto& files = options.definitions.empty() ? options.signalFiles : options.definitions;
    const bool isAlone = options.definitions.size() + options.signalFiles.size() == 1;
    return files.front() + (isAlone ? "" : " and the others");
}

} // namespace

TraceRun::TraceRun(const TraceOptions& options, const Console& console) : options(options), console(console) {
    if (options.empty()) {
        throw UsageError("there are no definitions: --dbc or --signals gives them");
    }
    loadDefinitions(options, traces.channels(), signals);
    printNotes();
    if (signals.signals().empty()) {
        throw UsageError("no usable definition in " + nameFiles(options));
    }
    openTraces();
}

void TraceRun::printNotes() const {
    if (!options.quiet) {
        for (const DefinitionNote& note : signals.notes()) {
            console.messages << note << '\n';
        }
    }
}

void TraceRun::openTraces() {
    if (options.traces.empty() && options.gpsLogs.empty()) {
        throw UsageError("there is no trace");
    }
    shifts = parseShifts(options);
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
    if (!options.output.empty() && isSameFile(path, options.output)) {
        throw UsageError("the output would overwrite the trace " + path);
    }
}

ReplayStatistics TraceRun::replay(ValueSink& sink, OutputBuffer& out) {
    Replay replay(signals, sink);
    const std::uint64_t total = traces.size();
    const bool showsProgress = console.interactive && !options.quiet && total > 0;
    ProgressBar bar(console.messages, total);
    traces.onProgress([&] {
        if (showsProgress) {
            bar.show(traces.position());
        }
        if (total == 0) { // whatever comes next may take its time
            out.flush();
        }
    });
    replay.run(traces);
    traces.onProgress(nullptr);
    return replay.statistics();
}

void TraceRun::summarise(const ReplayStatistics& statistics) const {
    if (!options.quiet) {
        printSummary(console.messages, statistics, signals, traces);
    }
}

bool TraceRun::understood() const {
    const auto& notes = signals.notes();
    return traces.isSound() && std::none_of(notes.begin(), notes.end(), [](const DefinitionNote& note) {
               return note.severity == DbcNote::Severity::Error;
           });
}

} // namespace rksignal

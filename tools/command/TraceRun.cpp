#include "command/TraceRun.h"

#include "UsageError.h"
#include "command/DefinitionArguments.h"
#include "command/ProgressBar.h"
#include "output/OutputFile.h"

#include <algorithm>
#include <ostream>

namespace rksignal {

TraceRun::TraceRun(const TraceOptions& options, const Console& console) : options(options), console(console) {
    assignChannels(options.channels, channels);
    loadDefinitions(options.definitions, channels, signals);
    printNotes();
    if (signals.signals().empty()) {
        throw UsageError("no usable definition in " + options.definitions.front() +
                         (options.definitions.size() > 1 ? " and the others" : ""));
    }
    openTraces();
}

void TraceRun::printNotes() const {
    if (!options.quiet) {
        for (const DbcNote& note : signals.notes()) {
            console.messages << note << '\n';
        }
    }
}

void TraceRun::openTraces() {
    for (const std::string& path : options.traces) {
        traces.push_back(std::make_unique<InputFile>(path));
        if (!options.output.empty() && isSameFile(path, options.output)) {
            throw UsageError("the output would overwrite the trace " + path);
        }
    }
}

ReplayStatistics TraceRun::replay(ValueSink& sink, OutputBuffer& out) {
    Replay replay(signals, channels, sink);
    const std::uint64_t total = knownSize();
    const bool showsProgress = console.interactive && !options.quiet && total > 0;
    ProgressBar bar(console.messages, total);
    std::uint64_t done = 0;
    for (const auto& trace : traces) {
        const bool isPipe = trace->size() == 0;
        LineReader reader(*trace, [&](std::uint64_t position) {
            if (showsProgress) {
                bar.show(done + position);
            }
            if (isPipe) { // whatever comes next may take its time
                out.flush();
            }
        });
        replay.run(reader);
        done += reader.position();
    }
    return replay.statistics();
}

/// Of all traces; 0 if one has no size.
std::uint64_t TraceRun::knownSize() const {
    std::uint64_t total = 0;
    for (const auto& trace : traces) {
        if (trace->size() == 0) {
            return 0;
        }
        total += trace->size();
    }
    return total;
}

void TraceRun::summarise(const ReplayStatistics& statistics) const {
    if (!options.quiet) {
        statistics.print(console.messages, signals, channels);
    }
}

bool TraceRun::understood(const ReplayStatistics& statistics) const {
    const auto& notes = signals.notes();
    return statistics.malformed == 0 && std::none_of(notes.begin(), notes.end(), [](const DbcNote& note) {
               return note.severity == DbcNote::Severity::Error;
           });
}

} // namespace rksignal

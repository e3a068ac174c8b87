#include "command/TraceInput.h"

#include "command/ProgressBar.h"
#include "command/SecondsArgument.h"
#include "command/UsageError.h"

#include <algorithm>
#include <ostream>

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

} // namespace

void TraceInput::open() {
    if (options.traces.empty() && options.gpsLogs.empty()) {
        throw UsageError("there is no trace");
    }
    shifts = parseShifts(options);
    all.setWindow(parseTimeWindow(options.time));
    interruption.emplace(all);
    for (const std::string& path : options.traces) {
        add(path, std::nullopt);
    }
    for (const std::string& path : options.gpsLogs) {
        add(path, TraceFormat::Nmea);
    }
}

void TraceInput::add(const std::string& path, std::optional<TraceFormat> format) {
    const auto shift = shifts.find(path);
    all.addFile(path, {shift != shifts.end() ? shift->second : 0, format});
    files.add(path);
}

TimeFormat TraceInput::times() {
    const bool isRelative = options.time.style == TimeStyle::Relative;
    return {options.time.style, isRelative ? all.start().value_or(0) : 0};
}

std::uint64_t TraceInput::momentOf(const std::string& option, const std::string& text) {
    const Moment moment = parseMomentArgument(option, text);
    return moment.at(moment.isRelative ? all.start().value_or(0) : 0);
}

void TraceInput::read(const std::function<void()>& run, OutputBuffer* rows) {
    const bool flushes = rows != nullptr && all.size() == 0; // whatever comes next may take its time
    watch(run, rows, flushes ? [rows] { rows->flush(); } : std::function<void()>());
}

void TraceInput::readAhead(const std::function<void(const std::function<void()>& handedOn)>& run,
                           OutputBuffer* rows) {
    const bool flushes = rows != nullptr && all.size() == 0;
    const std::function<void()> handedOn = flushes ? [rows] { rows->flush(); } : std::function<void()>();
    watch([&] { run(handedOn); }, rows, {});
}

void TraceInput::run(MessageSink& sink) {
    if (options.jobs > 1) {
        readAhead([&](const auto& handedOn) { all.runAhead(sink, handedOn); }, nullptr);
    } else {
        read([&] { all.run(sink); }, nullptr);
    }
}

/// With a progress bar.
void TraceInput::watch(const std::function<void()>& run, const OutputBuffer* rows,
                       const std::function<void()>& beforeRead) {
    const std::uint64_t total = all.size();
    const bool showsProgress =
        console.columns > 0 && !options.quiet && total > 0 && (rows == nullptr || !rows->isTerminal());
    ProgressBar bar(console.messages, total, console.columns);
    all.onProgress([&] {
        if (showsProgress) {
            bar.show(all.position());
        }
        if (beforeRead) {
            beforeRead();
        }
    });
    run();
    all.onProgress(nullptr);
}

void TraceInput::complete(OutputFile& file, bool holdsSomething) const {
    if (file.replacesFile() && !holdsSomething && !all.isSound()) {
        console.messages << "rksignal: " << file.name()
                         << " is left as it was: nothing in the traces could be understood\n";
        return;
    }
    file.complete();
}

} // namespace rksignal

#include "live/LiveSession.h"

#include "command/SecondsArgument.h"
#include "command/UsageError.h"
#include "live/ValueTransfer.h"
#include "text/NumberText.h"

#include <algorithm>
#include <ostream>
#include <span>
#include <utility>

namespace rksignal {
namespace {

/// Cycles are kept to some milliseconds, and a busy machine hands messages over late: shorter time-outs would
/// tell of the machine, not of the bus.
constexpr double shortestTimeout = 100; // milliseconds

std::string secondsText(std::uint64_t nanoseconds) {
    const std::uint64_t milliseconds = nanoseconds / 1'000'000;
    return doubleText(static_cast<double>(milliseconds) / 1e3);
}

} // namespace

LiveSession::LiveSession(const LiveOptions& options, ChannelMap channels, const TimeFormat& times,
                         LiveLog& log, std::ostream& remarks)
    : options(options), interfaces(std::move(channels)), times(times), log(log),
      timeout(options.timeout.empty() ? std::nullopt
                                      : std::optional(parseSeconds("--timeout", options.timeout))),
      catalog(options.shared ? SignalPlace::Shared : SignalPlace::Private),
      triggers(catalog, loadAll(remarks), settings()), replay(catalog, triggers, {.strict = options.strict}) {
    triggers.addValueSink(counter);
}

/// The definitions, then the conditions.
std::vector<Condition> LiveSession::loadAll(std::ostream& remarks) {
    loadDefinitions(options, interfaces, catalog, inputs);
    for (const Remark& remark : catalog.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            remarks << remark << '\n';
        }
    }
    if (catalog.signals().empty()) {
        throw UsageError("no usable definition in " + options.definitions.front() +
                         (options.definitions.size() == 1 ? "" : " and the others"));
    }
    try {
        return loadConditions(options.conditions, catalog, inputs, Console{-1, remarks, 0}, options.quiet);
    } catch (...) {
        removeNewSegments(catalog);
        throw;
    }
}

TriggerSettings LiveSession::settings() {
    return {.timeoutOf = [this](std::size_t signal) { return timeoutOf(signal); },
            .onTimeout = [this](const Timeout& event) { tell(event); },
            .times = times};
}

/// A signal behind a multiplexer comes with some of the messages only: their cycle is not its own.
std::optional<std::uint64_t> LiveSession::timeoutOf(std::size_t signal) const {
    const Catalog::Origin& origin = catalog.origin(signal);
    const double cycles = origin.message->cycleTime.value_or(0) * options.timeoutCycles;
    if (!(cycles > 0) || origin.definition().multiplexing) {
        return timeout;
    }
    constexpr double mostMilliseconds = 1e12; // three decades
    return static_cast<std::uint64_t>(std::clamp(cycles, shortestTimeout, mostMilliseconds) * 1e6);
}

void LiveSession::tell(const Timeout& event) {
    const std::string& name = catalog.signals()[event.signal]->def.instance;
    staleSignals += event.isOver ? std::uint64_t{0} - 1 : 1;
    if (options.quiet) {
        return;
    }
    log.say(event.isOver ? name + " is back after " + secondsText(event.timestamp - event.lastWrite) + " s"
                         : name + " is stale: last written at " + timeText(event.lastWrite, times));
}

void LiveSession::attach(FiringSink* rows, OutputBuffer& out) {
    if (options.explain) {
        explanations.emplace(triggers, out, times, true);
        triggers.addFiringSink(*explanations);
    } else if (rows != nullptr) {
        triggers.addFiringSink(*rows);
    }
    if (!options.windows.extent.empty()) {
        windows.emplace(catalog, triggers, parseExtent(options.windows),
                        WindowWriter::Folder{options.windows.folder, WindowWriter::Earlier::NumberOn,
                                             framesFormat(options.windows),
                                             [this](const std::string& text) { log.say(text); }},
                        inputs, times);
        triggers.addFiringSink(*windows);
        triggers.addValueSink(*windows);
    }
}

void LiveSession::finish() {
    replay.finish();
    triggers.finish();
    if (windows) {
        windows->finish();
    }
}

void LiveSession::summarise(std::ostream& out) const {
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        const TriggerCounts& counts = triggers.counts(i);
        out << triggers.condition(i).name() << ": evaluations " << counts.evaluations() << ", true "
            << counts.isTrue << ", false " << counts.isFalse << ", unknown " << counts.isUnknown
            << ", firings " << counts.firings << '\n';
    }
    if (windows) {
        windows->summarise(out);
    }
}

} // namespace rksignal

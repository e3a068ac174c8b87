#include "trigger/TriggerSink.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

/// Interfaces are recorded side by side, so frames stand a little out of order. Whatever goes back further
/// than this, in nanoseconds, is a clock that was set, or another trace.
constexpr std::uint64_t disorder = 1'000'000'000;

} // namespace

TriggerSink::TriggerSink(const Catalog& catalog, TriggerSet& triggers, FiringSink& firings,
                         const OutputBuffer& out, Options options)
    : catalog(catalog), triggers(triggers), firings(firings), out(out), options(std::move(options)),
      known(catalog.signals().size()) {
    if (this->options.timeout) {
        timeouts.emplace(catalog.signals().size(), *this->options.timeout);
    }
}

void TriggerSink::reached(std::uint64_t timestamp) {
    passMoments(timestamp);
    if (now > timestamp && now - timestamp > disorder) {
        restartClock(timestamp);
    }
    now = std::max(now, timestamp);
    expire(now);
    if (options.windows != nullptr) {
        options.windows->reached(now);
    }
}

void TriggerSink::restartClock(std::uint64_t timestamp) {
    now = timestamp;
    if (timeouts) {
        timeouts->restart(now);
    }
    if (options.windows != nullptr) {
        options.windows->finish();
    }
}

/// Serves the moments before `end`.
void TriggerSink::passMoments(std::uint64_t end) {
    for (; nextMoment < options.moments.size() && options.moments[nextMoment] < end; ++nextMoment) {
        expire(options.moments[nextMoment]);
        options.atMoment(options.moments[nextMoment]);
    }
}

void TriggerSink::expire(std::uint64_t end) {
    while (timeouts && timeouts->hasExpired(end)) {
        const std::uint64_t moment = timeouts->earliest();
        while (timeouts->hasExpired(end) && timeouts->earliest() == moment) {
            forget(timeouts->take());
        }
        fire(moment, std::nullopt);
    }
}

void TriggerSink::forget(std::size_t signal) {
    catalog.signals()[signal]->clear();
    known[signal] = false;
    triggers.touch(signal);
}

void TriggerSink::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t signal = catalog.indexOf(id);
        if (!triggers.uses(signal)) {
            continue;
        }
        if (timeouts) {
            timeouts->written(signal, now);
        }
        if (!known[signal] || catalog.signals()[signal]->isModified()) {
            known[signal] = true;
            triggers.touch(signal);
        }
    }
    if (options.windows != nullptr) {
        options.windows->written(message, ids);
    }
}

void TriggerSink::withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t signal = catalog.indexOf(id);
        if (!triggers.uses(signal)) {
            continue;
        }
        if (timeouts) {
            timeouts->withdraw(signal);
        }
        known[signal] = false;
        triggers.touch(signal);
    }
}

void TriggerSink::decoded(const MessageInfo& message) {
    fire(message.timestamp, message.origin);
}

void TriggerSink::fire(std::uint64_t timestamp, const std::optional<MessageOrigin>& origin) {
    for (const std::uint32_t trigger : triggers.evaluate()) {
        const Firing firing{trigger, timestamp, origin};
        firings.fired(firing);
        if (options.windows != nullptr) {
            options.windows->fired(firing);
        }
    }
}

void TriggerSink::finish() {
    passMoments(std::numeric_limits<std::uint64_t>::max());
    if (options.windows != nullptr) {
        options.windows->finish();
    }
}

} // namespace rksignal

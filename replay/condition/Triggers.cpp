#include "condition/Triggers.h"

#include "condition/SignalTimeouts.h"
#include "condition/TriggerSet.h"
#include "text/NumberText.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

/// Interfaces are recorded side by side, so frames stand a little out of order. Whatever goes back further
/// than this, in nanoseconds, is a clock that was set, or another trace.
constexpr std::uint64_t disorder = 1'000'000'000;

} // namespace

FiringSink::~FiringSink() = default;

struct Triggers::State {
    State(const Catalog& catalog, std::vector<Condition> conditions, TriggerSettings given)
        : catalog(catalog), triggers(catalog, std::move(conditions)), settings(std::move(given)),
          timesOut(settings.timeout || settings.timeoutOf) {
        addTimeouts();
    }

    /// Those of signals that have come since.
    void addTimeouts() {
        while (timesOut && timeouts.size() < catalog.signals().size()) {
            timeouts.add(settings.timeoutOf ? settings.timeoutOf(timeouts.size()) : settings.timeout);
        }
    }

    bool isWatched(std::size_t signal) const {
        return timesOut && (settings.onTimeout || triggers.uses(signal));
    }

    void noteWrite(std::size_t signal);
    void noteWithdrawal(std::size_t signal);

    void restartClock(std::uint64_t timestamp);
    void passMoments(std::uint64_t end);
    void expire(std::uint64_t end);
    void forget(std::size_t signal, std::uint64_t moment);
    void fire(std::uint64_t timestamp, const std::optional<MessageOrigin>& origin);
    std::string whyUnknown(BaseSignal& signal) const;

    const Catalog& catalog;
    TriggerSet triggers;
    TriggerSettings settings;
    std::vector<FiringSink*> firingSinks;
    std::vector<ValueSink*> valueSinks;
    SignalTimeouts timeouts;
    bool timesOut;
    std::uint64_t now = 0;
    std::size_t nextMoment = 0;
};

void Triggers::State::restartClock(std::uint64_t timestamp) {
    now = timestamp;
    timeouts.restart(now);
    for (FiringSink* const sink : firingSinks) {
        sink->clockSetBack();
    }
}

/// Serves the moments before `end`.
void Triggers::State::passMoments(std::uint64_t end) {
    for (; nextMoment < settings.moments.size() && settings.moments[nextMoment] < end; ++nextMoment) {
        expire(settings.moments[nextMoment]);
        settings.atMoment(settings.moments[nextMoment]);
    }
}

void Triggers::State::expire(std::uint64_t end) {
    while (timeouts.hasExpired(end)) {
        const std::uint64_t moment = timeouts.earliest();
        while (timeouts.hasExpired(end) && timeouts.earliest() == moment) {
            forget(timeouts.take(), moment);
        }
        fire(moment, std::nullopt);
    }
}

void Triggers::State::forget(std::size_t signal, std::uint64_t moment) {
    catalog.signals()[signal]->invalidate();
    if (settings.onTimeout) {
        settings.onTimeout({signal, timeouts.lastWrite(signal), moment, false});
    }
    if (triggers.uses(signal)) {
        triggers.lost(signal);
    }
}

void Triggers::State::noteWrite(std::size_t signal) {
    if (isWatched(signal)) {
        if (settings.onTimeout && timeouts.isTimedOut(signal)) {
            settings.onTimeout({signal, timeouts.lastWrite(signal), now, true});
        }
        timeouts.written(signal, now);
    }
    if (triggers.uses(signal)) {
        triggers.written(signal);
    }
}

void Triggers::State::noteWithdrawal(std::size_t signal) {
    if (isWatched(signal)) {
        timeouts.withdraw(signal);
    }
    if (triggers.uses(signal)) {
        triggers.lost(signal);
    }
}

void Triggers::State::fire(std::uint64_t timestamp, const std::optional<MessageOrigin>& origin) {
    for (const std::uint32_t trigger : triggers.evaluate()) {
        const Firing firing{trigger, triggers.condition(trigger), triggers.counts(trigger).firings, timestamp,
                            origin};
        for (FiringSink* const sink : firingSinks) {
            sink->fired(firing);
        }
    }
    for (const std::uint32_t trigger : triggers.ended()) {
        for (FiringSink* const sink : firingSinks) {
            sink->ended(trigger, timestamp);
        }
    }
}

std::string Triggers::State::whyUnknown(BaseSignal& signal) const {
    const Reception reception = catalog.receptionOf(signal);
    if (reception == Reception::NeverSeen) {
        return receptionText(reception);
    }
    const bool isGiven = reception == Reception::Written || reception == Reception::Withdrawn;
    // long enough, and still no value: whatever is read of the multiplexer now, it did not select the signal
    std::string last = receptionText(reception == Reception::Written ? Reception::Unselected : reception);
    const std::size_t index = catalog.indexOf(signal.id);
    if (!timesOut || !timeouts.isTimedOut(index)) {
        return last;
    }
    const std::string text = "timed out, last seen at " + timeText(timeouts.lastWrite(index), settings.times);
    return isGiven ? text : text + "; " + last;
}

Triggers::Triggers(const Catalog& catalog, std::vector<Condition> conditions, TriggerSettings settings)
    : state(std::make_unique<State>(catalog, std::move(conditions), std::move(settings))) {}

Triggers::~Triggers() = default;

void Triggers::addFiringSink(FiringSink& sink) {
    state->firingSinks.push_back(&sink);
}

void Triggers::addValueSink(ValueSink& sink) {
    state->valueSinks.push_back(&sink);
}

void Triggers::resume(std::uint64_t now) {
    State& all = *state;
    all.now = std::max(all.now, now);
    for (std::size_t signal = 0; signal < all.catalog.signals().size(); ++signal) {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (!all.catalog.signals()[signal]->read(raw, timestamp)) {
            continue;
        }
        if (all.isWatched(signal)) {
            all.timeouts.written(signal, all.now);
        }
        if (all.triggers.uses(signal)) {
            all.triggers.hasValue(signal);
        }
    }
    all.triggers.settle();
}

void Triggers::reached(std::uint64_t timestamp) {
    State& all = *state;
    for (ValueSink* const sink : all.valueSinks) {
        sink->reached(timestamp);
    }
    all.passMoments(timestamp);
    if (all.now > timestamp && all.now - timestamp > disorder) {
        all.restartClock(timestamp);
    }
    all.now = std::max(all.now, timestamp);
    all.expire(all.now);
    for (FiringSink* const sink : all.firingSinks) {
        sink->advanced(all.now);
    }
}

/// No condition can read them.
void Triggers::signalsAdded() {
    state->addTimeouts();
    for (ValueSink* const sink : state->valueSinks) {
        sink->signalsAdded();
    }
}

void Triggers::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    State& all = *state;
    for (const unsigned long id : ids) {
        all.noteWrite(all.catalog.indexOf(id));
    }
    for (ValueSink* const sink : all.valueSinks) {
        sink->written(message, ids);
    }
}

void Triggers::writtenWhole(const MessageInfo& message, std::size_t number,
                            std::span<const unsigned long> ids) {
    State& all = *state;
    if (all.timesOut) {
        for (const unsigned long id : ids) {
            all.noteWrite(all.catalog.indexOf(id));
        }
    } else {
        all.triggers.writtenWhole(number);
    }
    for (ValueSink* const sink : all.valueSinks) {
        sink->writtenWhole(message, number, ids);
    }
}

void Triggers::withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) {
    State& all = *state;
    for (const unsigned long id : ids) {
        all.noteWithdrawal(all.catalog.indexOf(id));
    }
    for (ValueSink* const sink : all.valueSinks) {
        sink->withdrawn(message, ids);
    }
}

void Triggers::decoded(const MessageInfo& message) {
    for (ValueSink* const sink : state->valueSinks) {
        sink->decoded(message);
    }
    state->fire(message.timestamp, message.origin);
}

bool Triggers::closed() const {
    const auto isClosed = [](const auto* sink) { return sink->closed(); };
    return std::any_of(state->firingSinks.begin(), state->firingSinks.end(), isClosed) ||
           std::any_of(state->valueSinks.begin(), state->valueSinks.end(), isClosed);
}

void Triggers::finish() {
    state->passMoments(std::numeric_limits<std::uint64_t>::max());
}

std::size_t Triggers::size() const {
    return state->triggers.size();
}

const Condition& Triggers::condition(std::size_t trigger) const {
    return state->triggers.condition(trigger);
}

TriggerCounts Triggers::counts(std::size_t trigger) const {
    return state->triggers.counts(trigger);
}

std::optional<bool> Triggers::evaluate(std::size_t trigger) const {
    return state->triggers.value(trigger);
}

std::string Triggers::explain(const Condition& condition) const {
    return condition.explain([this](BaseSignal& signal) { return state->whyUnknown(signal); });
}

} // namespace rksignal

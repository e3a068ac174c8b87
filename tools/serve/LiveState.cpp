#include "serve/LiveState.h"

namespace rksignal {
namespace {

constexpr std::uint64_t day = 86'400'000'000'000; ///< nanoseconds

std::uint64_t wallClock() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count());
}

TriggerSettings triggerSettings(const LiveSettings& settings) {
    TriggerSettings given;
    given.timeout = settings.timeout;
    given.times.style = TimeStyle::Iso;
    return given;
}

} // namespace

LiveState::Contents::Contents(Catalog& catalog, std::vector<Condition> conditions,
                              const LiveSettings& settings)
    : catalog(catalog), settings(settings), values(catalog),
      curves(catalog, settings.history, settings.historyMemory),
      triggers(catalog, std::move(conditions), triggerSettings(settings)), firings(triggers),
      slots(catalog, triggers), states(triggers.size()), start(wallClock()), origin(start - start % day) {
    triggers.addValueSink(values);
    triggers.addValueSink(curves);
    triggers.addFiringSink(firings);
}

LiveState::LiveState(Catalog& catalog, std::vector<Condition> conditions, const LiveSettings& given)
    : settings(given), contents(catalog, std::move(conditions), settings),
      polledAt(std::chrono::steady_clock::now()) {}

void LiveState::poll() {
    bool isNew = false;
    {
        const std::scoped_lock lock(mutex);
        contents.values.beginPoll(contents.version + 1);
        contents.slots.poll();
        isNew = contents.values.endPoll(contents.slots);
        if (contents.values.now() == 0) { // nobody has written anything yet
            contents.values.reached(wallClock());
        }
        isNew = updateTriggers() || isNew;
        contents.version += isNew ? 1U : 0U;
        polledAt = std::chrono::steady_clock::now();
    }
    if (isNew) {
        news.notify_all();
    }
}

bool LiveState::updateTriggers() {
    bool isNew = false;
    for (std::size_t i = 0; i < contents.states.size(); ++i) {
        TriggerState& state = contents.states[i];
        const std::optional<bool> isTrue = contents.triggers.evaluate(i);
        const std::uint64_t firings = contents.triggers.counts(i).firings;
        if (isTrue != state.isTrue || firings != state.firings || state.version == 0) {
            state = {isTrue, firings, contents.version + 1};
            isNew = true;
        }
    }
    return isNew;
}

void LiveState::close() {
    {
        const std::scoped_lock lock(mutex);
        isClosed = true;
    }
    news.notify_all();
}

bool LiveState::closed() const {
    const std::scoped_lock lock(mutex);
    return isClosed;
}

std::chrono::nanoseconds LiveState::sinceLastPoll() const {
    const std::scoped_lock lock(mutex);
    return std::chrono::steady_clock::now() - polledAt;
}

bool LiveState::awaitNews(std::uint64_t version, std::chrono::milliseconds most) const {
    std::unique_lock lock(mutex);
    news.wait_for(lock, most, [&] { return isClosed || contents.version > version; });
    return !isClosed;
}

} // namespace rksignal

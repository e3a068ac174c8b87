#include "live/PacedTrace.h"

#include "live/ClockTime.h"
#include "live/PaceClock.h"

#include <utility>

namespace rksignal {
namespace {

constexpr int mostAtOnce = 256;

LiveCounts damageOf(const Trace& trace) {
    LiveCounts sum;
    for (std::size_t i = 0; i < trace.count(); ++i) {
        const TraceReport& report = trace.report(i);
        sum.lost += report.lost;
        sum.damaged += report.damagedLines + report.damagedPackets + report.damagedRecords;
    }
    return sum;
}

} // namespace

struct PacedTrace::State {
    State(std::function<Trace()> open, const Pace& pace)
        : open(std::move(open)), trace(this->open()), clock(pace.speed), isLoop(pace.isLoop) {
        readRealTime();
    }

    /// Goes on to the next message, in the next round if need be. \return whether there is one
    bool next() {
        if (trace.next()) {
            hasMessage = true;
        } else if (isLoop && !isRoundEmpty) {
            const LiveCounts round = damageOf(trace);
            before.lost += round.lost;
            before.damaged += round.damaged;
            trace = open();
            ++rounds;
            clock.startRound();
            readRealTime();
            hasMessage = trace.next();
        }
        isRoundEmpty = !hasMessage;
        return hasMessage;
    }

    /// The clock may have been set since.
    void readRealTime() { realTimeAhead = clockTime(CLOCK_REALTIME) - monotonicTime(); }

    /// \return the time stamp of the message that is handed over now
    std::uint64_t handOver(std::uint64_t now) {
        if (const std::uint64_t delay = clock.handOver(now)) {
            ++delays;
            delayed += delay;
            readRealTime();
        }
        hasMessage = false;
        return clock.timestamp() + realTimeAhead;
    }

    std::function<Trace()> open;
    Trace trace;
    PaceClock clock;
    bool isLoop;
    bool hasMessage = false; ///< one waits for its time
    bool isRoundEmpty = true;
    bool isAtEnd = false;
    LiveCounts before; ///< of rounds that have ended
    std::uint64_t rounds = 1;
    std::uint64_t delays = 0;
    std::uint64_t delayed = 0;
    std::uint64_t realTimeAhead = 0; ///< of the monotonic clock, modulo 2^64
};

PacedTrace::PacedTrace(std::string name, std::function<Trace()> open, const Pace& pace)
    : LiveSource(std::move(name)), state(std::make_unique<State>(std::move(open), pace)) {}
PacedTrace::~PacedTrace() = default;

std::optional<std::uint64_t> PacedTrace::due() const {
    return state->isAtEnd ? std::nullopt : std::optional(state->hasMessage ? state->clock.due() : 0);
}

bool PacedTrace::ended() const {
    return state->isAtEnd;
}

void PacedTrace::read(MessageSink& sink) {
    const std::uint64_t now = monotonicTime();
    for (int i = 0; i < mostAtOnce && !state->isAtEnd; ++i) {
        if (!state->hasMessage) {
            try {
                state->isAtEnd = !state->next();
            } catch (const Error& error) {
                throw SourceError(error.what());
            }
            if (state->isAtEnd) {
                return;
            }
            state->clock.meet(state->trace.timestamp(), now);
        }
        if (state->clock.due() > now || sink.closed()) {
            return;
        }
        ++counted.messages;
        state->trace.deliver(sink, state->handOver(now));
    }
}

LiveCounts PacedTrace::counts() const {
    const LiveCounts round = damageOf(state->trace);
    return {counted.messages, state->before.lost + round.lost, state->before.damaged + round.damaged, 0};
}

const Trace& PacedTrace::trace() const {
    return state->trace;
}

std::uint64_t PacedTrace::rounds() const {
    return state->rounds;
}

std::uint64_t PacedTrace::delays() const {
    return state->delays;
}

std::uint64_t PacedTrace::delayed() const {
    return state->delayed;
}

} // namespace rksignal

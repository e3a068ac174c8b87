#include "live/SlotReplay.h"

#include <algorithm>
#include <ctime>
#include <span>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

using Connection = SlotReplay::Connection;

constexpr std::uint64_t second = 1'000'000'000;

/// Time stamps further ahead than this, in nanoseconds, say nothing about the clock of the writers.
constexpr std::uint64_t mostAhead = 60 * second;

std::uint64_t nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * second + static_cast<std::uint64_t>(now.tv_nsec);
}

/// What an attachment that has failed makes of a signal.
Connection failureOf(SlotView::Attachment attachment, bool wasAttached) {
    switch (attachment) {
    case SlotView::Attachment::NoKeyFile:
    case SlotView::Attachment::NoSegment:
        return wasAttached ? Connection::Removed : Connection::Missing;
    default:
        return Connection::Refused;
    }
}

} // namespace

class SlotReplay::State {
  public:
    State(Catalog& catalog, ValueSink& sink, const std::vector<bool>& wanted)
        : catalog(catalog), sink(sink), slots(catalog.signals().size()) {
        for (std::size_t signal = 0; signal < slots.size(); ++signal) {
            ++counts.signals[static_cast<std::size_t>(Connection::Unwanted)];
            if (wanted.empty() || wanted[signal]) {
                followed.push_back(signal);
            }
        }
        lookUp();
        changes.reserve(followed.size());
        ids.reserve(followed.size());
    }

    void lookUp() {
        for (const std::size_t signal : followed) {
            lookUp(signal);
        }
        lastTurn = nanosecondsOf(CLOCK_MONOTONIC);
    }

    std::size_t poll() {
        ++counts.polls;
        lookUpSome();
        const std::size_t told = poll(followed);
        if (newest > 0 && !sink.closed()) {
            sink.reached(time());
        }
        return told;
    }

    std::size_t poll(std::span<const std::size_t> signals) {
        steady = nanosecondsOf(CLOCK_MONOTONIC);
        changes.clear();
        for (const std::size_t signal : signals) {
            read(signal);
        }
        noteTime();
        std::sort(changes.begin(), changes.end()); // by time, then by the order of definition
        for (std::size_t next = 0; next < changes.size() && !sink.closed();) {
            next = changes[next].isLoss ? withdraw(next) : write(next);
        }
        return changes.size();
    }

    Connection connection(std::size_t signal) const { return slots[signal].connection; }
    const SlotView& view(std::size_t signal) const { return slots[signal].view; }
    const Statistics& statistics() const { return counts; }

  private:
    struct Slot {
        SlotView view;
        std::uint64_t raw = 0; ///< as last told, if `hasValue`
        std::uint64_t timestamp = 0;
        bool hasValue = false;
        bool wasAttached = false; ///< at any time
        Connection connection = Connection::Unwanted;
    };

    struct Change {
        std::uint64_t timestamp;
        std::size_t signal;
        std::uint64_t raw;
        bool isLoss;

        bool operator<(const Change& other) const {
            return std::tie(timestamp, signal) < std::tie(other.timestamp, other.signal);
        }
    };

    /// Looks whether a slot is still where it was, or has appeared.
    void lookUp(std::size_t signal) {
        Slot& slot = slots[signal];
        if (slot.view.isCurrent()) {
            return;
        }
        slot.view = SlotView(catalog.signals()[signal]->def.instance);
        const bool isAttached = slot.view.isAttached();
        set(slot, isAttached ? Connection::NoValue : failureOf(slot.view.attachment(), slot.wasAttached));
        slot.wasAttached |= isAttached;
    }

    void set(Slot& slot, Connection connection) {
        --counts.signals[static_cast<std::size_t>(slot.connection)];
        slot.connection = connection;
        ++counts.signals[static_cast<std::size_t>(connection)];
    }

    /// By the clock of the writers: the newest time stamp, and what has passed since it came.
    std::uint64_t time() const { return newest + (steady - newestSeen); }

    void noteTime() {
        const std::uint64_t limit = nanosecondsOf(CLOCK_REALTIME) + mostAhead;
        for (const Change& change : changes) {
            if (!change.isLoss && change.timestamp >= newest && change.timestamp <= limit) {
                newest = change.timestamp;
                newestSeen = steady;
            }
        }
    }

    /// Looks up those whose turn it is, each about once a second however often there is a poll.
    void lookUpSome() {
        const std::uint64_t now = nanosecondsOf(CLOCK_MONOTONIC);
        const std::uint64_t elapsed = std::min(now - lastTurn, second);
        // In whole signals; the rest of the time counts for the next poll.
        const std::uint64_t due = followed.size() * elapsed / second;
        if (due == 0) {
            return;
        }
        lastTurn = elapsed == second ? now : lastTurn + due * second / followed.size();
        for (std::uint64_t i = 0; i < due; ++i) {
            lookUp(followed[turn]);
            turn = (turn + 1) % followed.size();
        }
    }

    /// Notes what is new of a signal.
    void read(std::size_t signal) {
        Slot& slot = slots[signal];
        if (!slot.view.isAttached()) {
            noteLoss(signal);
            return;
        }
        std::uint64_t raw = 0;
        std::uint64_t timestamp = 0;
        const SlotView::State found = slot.view.read(raw, timestamp);
        if (found == SlotView::State::Held) {
            set(slot, Connection::Held);
        } else if (found != SlotView::State::Value) {
            set(slot, Connection::NoValue);
            noteLoss(signal);
        } else {
            set(slot, Connection::Live);
            if (!slot.hasValue || raw != slot.raw || timestamp != slot.timestamp) {
                changes.push_back({timestamp, signal, raw, false});
            }
        }
    }

    void noteLoss(std::size_t signal) {
        if (slots[signal].hasValue) {
            changes.push_back({std::max(time(), slots[signal].timestamp), signal, 0, true});
        }
    }

    /// Hands on the values of one message that have one time stamp. \return the change behind them
    std::size_t write(std::size_t first) {
        const MessageDefinition* const message = catalog.origin(changes[first].signal).message;
        ids.clear();
        std::size_t next = first;
        for (; next < changes.size() && belongsTogether(changes[first], changes[next], message); ++next) {
            const Change& change = changes[next];
            BaseSignal& signal = *catalog.signals()[change.signal];
            signal.writeRaw(change.raw, change.timestamp);
            ids.push_back(signal.id);
            Slot& slot = slots[change.signal];
            std::tie(slot.raw, slot.timestamp, slot.hasValue) =
                std::tuple(change.raw, change.timestamp, true);
        }
        catalog.markSeen(ids);
        counts.values += ids.size();
        const MessageInfo info{changes[first].timestamp, {message->channel, message->kind}};
        sink.reached(info.timestamp);
        sink.written(info, ids);
        sink.decoded(info);
        return next;
    }

    bool belongsTogether(const Change& first, const Change& other, const MessageDefinition* message) const {
        return other.timestamp == first.timestamp && !other.isLoss &&
               catalog.origin(other.signal).message == message;
    }

    std::size_t withdraw(std::size_t change) {
        const auto [timestamp, index, raw, isLoss] = changes[change];
        BaseSignal& signal = *catalog.signals()[index];
        signal.clear();
        slots[index].hasValue = false;
        ++counts.withdrawn;
        const MessageDefinition& message = *catalog.origin(index).message;
        const MessageInfo info{timestamp, {message.channel, message.kind}};
        const unsigned long id = signal.id;
        sink.reached(timestamp);
        sink.withdrawn(info, {&id, 1});
        sink.decoded(info);
        return change + 1;
    }

    Catalog& catalog;
    ValueSink& sink;
    std::vector<Slot> slots;           ///< as Catalog::signals()
    std::vector<std::size_t> followed; ///< the signals that are wanted
    std::vector<Change> changes;       ///< of this poll; reused
    std::vector<unsigned long> ids;    ///< of one message; reused
    std::size_t turn = 0;              ///< in `followed`: the next one to be looked up again
    std::uint64_t lastTurn = 0;        ///< CLOCK_MONOTONIC: up to here all turns are taken
    std::uint64_t steady = 0;          ///< CLOCK_MONOTONIC, of this poll
    std::uint64_t newest = 0;          ///< time stamp; 0: none yet
    std::uint64_t newestSeen = 0;      ///< CLOCK_MONOTONIC, of the poll that found it
    Statistics counts;
};

SlotReplay::SlotReplay(Catalog& catalog, ValueSink& sink, const std::vector<bool>& wanted)
    : state(std::make_unique<State>(catalog, sink, wanted)) {}

SlotReplay::~SlotReplay() = default;

std::size_t SlotReplay::poll() {
    return state->poll();
}

std::size_t SlotReplay::poll(std::span<const std::size_t> signals) {
    return state->poll(signals);
}

void SlotReplay::lookUp() {
    state->lookUp();
}

SlotReplay::Connection SlotReplay::connection(std::size_t signal) const {
    return state->connection(signal);
}

const SlotView& SlotReplay::view(std::size_t signal) const {
    return state->view(signal);
}

const SlotReplay::Statistics& SlotReplay::statistics() const {
    return state->statistics();
}

} // namespace rksignal

#include "live/LiveLoop.h"

#include "file/Descriptor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>
#include <poll.h>
#include <sys/eventfd.h>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

struct Periodic {
    std::uint64_t period;
    std::uint64_t due;
    std::shared_ptr<const std::function<void()>> function; // outlives the growth of the list during its call
};

} // namespace

struct LiveLoop::State {
    State() : wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wakeUp.get() < 0) {
            throw Error("cannot make an event descriptor", errno);
        }
    }

    bool isReadable(std::size_t source) const { return !broken[source] && !sources[source]->ended(); }

    bool hasReadable() const {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (isReadable(i)) {
                return true;
            }
        }
        return false;
    }

    void callPeriodic() {
        for (std::size_t i = 0; i < periodic.size(); ++i) {
            const std::uint64_t now = monotonicTime();
            if (periodic[i].due <= now) {
                const std::uint64_t missed = (now - periodic[i].due) / periodic[i].period;
                periodic[i].due += (missed + 1) * periodic[i].period;
                const auto function = periodic[i].function;
                (*function)();
            }
        }
    }

    std::uint64_t earliestDue() const {
        std::uint64_t earliest = never;
        for (const Periodic& each : periodic) {
            earliest = std::min(earliest, each.due);
        }
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (isReadable(i)) {
                earliest = std::min(earliest, sources[i]->due().value_or(never));
            }
        }
        return earliest;
    }

    /// Until a source has something, a function is due, or stop() is called.
    void wait() {
        polled.assign(1, {wakeUp.get(), POLLIN, 0});
        for (std::size_t i = 0; i < sources.size(); ++i) {
            polled.push_back({isReadable(i) ? sources[i]->descriptor() : -1, POLLIN, 0});
        }
        const std::uint64_t due = earliestDue();
        const std::uint64_t now = monotonicTime();
        const std::uint64_t left = due > now ? due - now : 0;
        const timespec timeout{static_cast<time_t>(left / 1'000'000'000),
                               static_cast<long>(left % 1'000'000'000)};
        if (ppoll(polled.data(), polled.size(), due == never ? nullptr : &timeout, nullptr) < 0) {
            for (pollfd& each : polled) { // interrupted by a signal
                each.revents = 0;
            }
        }
    }

    /// Those that wait() has found something of.
    void readSources(MessageSink& sink) {
        const std::uint64_t now = monotonicTime();
        for (std::size_t i = 0; i + 1 < polled.size() && !sink.closed(); ++i) {
            if (isReadable(i) && (polled[i + 1].revents != 0 || sources[i]->due().value_or(never) <= now)) {
                readSource(i, sink);
            }
        }
    }

    void readSource(std::size_t i, MessageSink& sink) {
        LiveSource& source = *sources[i];
        try {
            source.read(sink);
        } catch (const SourceError& error) {
            broken[i] = true;
            if (!brokenFunction) {
                throw;
            }
            brokenFunction(source, error);
        }
    }

    Descriptor wakeUp; ///< readable once stopped
    std::atomic<bool> isStopped = false;
    std::vector<std::unique_ptr<LiveSource>> sources;
    std::vector<bool> broken; ///< as sources
    std::vector<Periodic> periodic;
    std::vector<pollfd> polled; ///< the wake-up, then as sources
    std::function<void(const LiveSource&, const SourceError&)> brokenFunction;
};

LiveLoop::LiveLoop() : state(std::make_unique<State>()) {}
LiveLoop::~LiveLoop() = default;

void LiveLoop::add(std::unique_ptr<LiveSource> source) {
    state->sources.push_back(std::move(source));
    state->broken.push_back(false);
}

std::span<const std::unique_ptr<LiveSource>> LiveLoop::sources() const {
    return state->sources;
}

bool LiveLoop::isBroken(const LiveSource& source) const {
    const auto at = std::find_if(state->sources.begin(), state->sources.end(),
                                 [&source](const auto& each) { return each.get() == &source; });
    return state->broken[static_cast<std::size_t>(at - state->sources.begin())];
}

void LiveLoop::every(std::uint64_t nanoseconds, std::function<void()> function) {
    state->periodic.push_back({nanoseconds, monotonicTime() + nanoseconds,
                               std::make_shared<const std::function<void()>>(std::move(function))});
}

void LiveLoop::onBroken(std::function<void(const LiveSource&, const SourceError&)> function) {
    state->brokenFunction = std::move(function);
}

void LiveLoop::run(MessageSink& sink) {
    while (!state->isStopped.load(std::memory_order_relaxed) && !sink.closed() && state->hasReadable()) {
        state->wait();
        state->readSources(sink);
        state->callPeriodic();
    }
    if (state->isStopped.exchange(false)) {
        eventfd_t ignored = 0;
        eventfd_read(state->wakeUp.get(), &ignored);
    }
}

void LiveLoop::stop() noexcept {
    const int error = errno; // a signal handler leaves it as it was
    state->isStopped.store(true, std::memory_order_relaxed);
    eventfd_write(state->wakeUp.get(), 1);
    errno = error;
}

} // namespace rksignal

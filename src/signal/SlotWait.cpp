#include "signal/SlotWait.h"

#include "signal/SlotMutex.h"

#include <algorithm>
#include <ctime>
#include <sched.h>

namespace {

constexpr std::int64_t microsecond = 1'000, millisecond = 1'000 * microsecond;
constexpr std::int64_t yieldingTime = millisecond;
constexpr std::int64_t firstSleep = 50 * microsecond, longestSleep = millisecond;
constexpr std::int64_t timeToLook = 10 * millisecond;

std::int64_t monotonicTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000 * millisecond + now.tv_nsec;
}

} // namespace

SlotWait::SlotWait(pthread_mutex_t& mutex)
    : mutex(mutex), start(monotonicTime()), watched(start), sleep(firstSleep),
      word(slotmutex::wordOf(mutex)) {}

void SlotWait::pause() {
    sched_yield();
    if (duration() > yieldingTime) {
        const timespec time{.tv_sec = 0, .tv_nsec = sleep};
        nanosleep(&time, nullptr);
        sleep = std::min(2 * sleep, longestSleep);
    }
}

std::int64_t SlotWait::duration() const {
    return monotonicTime() - start;
}

bool SlotWait::takesOver() {
    const int current = slotmutex::wordOf(mutex);
    const std::int64_t now = monotonicTime();
    if (current != word) {
        word = current;
        watched = now;
    }
    if (now - watched < timeToLook) {
        return false;
    }
    watched = now;
    holder = SlotHolder::of(static_cast<std::uint32_t>(word));
    return holder.isGone() && slotmutex::take(mutex, word);
}

/// \file
/// Takes and releases the mutex of a slot without the C library.
///
/// Everybody may write to a shared slot, at any moment. A mutex of an unexpected kind makes the C library
/// follow pointers in it or end the process, and checking the kind before the call would not help: it can
/// change in between. So what `pthread_mutex_trylock` and `pthread_mutex_unlock` do with a default mutex is
/// done here, on its lock word alone. Any content of the mutex gives one of the results below.
///
/// Processes that call `pthread_mutex_trylock`, `_lock` and `_unlock` on the same mutex exclude these
/// functions and are excluded by them. The owner that the C library notes is neither read nor written.
///
/// The lock word says who has the lock:
///
///     0        nobody
///     1, 2     somebody who took it through the C library, or would wait for it there; nobody can tell who
///     a mark   this thread: its identifier in the low 22 bits, above them 9 bits that tell its PID namespace
///              from others, never all zero
///
/// A mark lets others see that its thread has died (signal/SlotHolder.h). 22 bits hold every identifier that
/// Linux gives. A thread whose namespace cannot be found out takes the lock with 1.
///
/// Internal: clients go through `BaseSignal`.
#pragma once

#include "signal/Export.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/single_threaded.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace slotmutex {

// The default mutex of glibc on x86-64: the lock word is 0 when free, 1 when taken, 2 when somebody may wait.
// Whoever wants to wait for a mark replaces it by 2.
static_assert(offsetof(pthread_mutex_t, __data.__lock) == 0 && sizeof(int) == 4);
static_assert(offsetof(pthread_mutex_t, __data.__kind) == 16);
static_assert(std::atomic_ref<int>::is_always_lock_free);

constexpr int threadBits = 22;   ///< of a mark
constexpr int namespaceBits = 9; ///< above these
constexpr int takenInC = 1;      ///< by the C library
constexpr int awaitedInC = 2;    ///< in the C library, whoever has it

/// The mark of this thread, or 0 before it has one. Reached without a call, also where the library was loaded
/// after the program had started.
RKSIGNAL_EXPORT extern constinit thread_local int ownMark [[gnu::tls_model("initial-exec")]];

/// Gives this thread its mark, for as long as it is in this process: the child of a fork makes a new one.
[[gnu::cold]] RKSIGNAL_EXPORT int makeOwnMark();

/// The 9 bits of this process's PID namespace, or 0 if it cannot be found out.
int namespaceTag();

/// Whether the mutex is of the default kind; locks of no other kind are understood here.
inline bool isDefault(pthread_mutex_t& mutex) {
    return std::atomic_ref(mutex.__data.__kind).load(std::memory_order_relaxed) == PTHREAD_MUTEX_DEFAULT;
}

/// What the lock word is now.
inline int wordOf(pthread_mutex_t& mutex) {
    return std::atomic_ref(mutex.__data.__lock).load(std::memory_order_relaxed);
}

/// Replaces the lock word `word` by the mark of this thread. \return whether it was `word`
inline bool take(pthread_mutex_t& mutex, int word) {
    const int mark = ownMark != 0 ? ownMark : makeOwnMark();
    return std::atomic_ref(mutex.__data.__lock)
        .compare_exchange_strong(word, mark, std::memory_order_acquire, std::memory_order_relaxed);
}

/// \return 0: taken; EBUSY: somebody has it; EINVAL: not a default mutex
inline int tryLock(pthread_mutex_t& mutex) {
    if (!isDefault(mutex)) [[unlikely]] {
        return EINVAL;
    }
    return take(mutex, 0) ? 0 : EBUSY;
}

/// Releases the mutex if this thread has it, or somebody who left no mark. Wakes a thread of this process
/// that is blocked in `pthread_mutex_lock`; one of another process cannot be woken, as the mutex is not
/// process-shared. \return 0, or EINVAL: not a default mutex, which is left alone
inline int unlock(pthread_mutex_t& mutex) {
    if (!isDefault(mutex)) [[unlikely]] {
        return EINVAL;
    }
    const std::atomic_ref lock(mutex.__data.__lock);
    int word = ownMark;
    if (__libc_single_threaded) { // nobody to wake, so the costly exchange is spared
        const int now = lock.load(std::memory_order_relaxed);
        if (now == word || now == takenInC || now == awaitedInC) [[likely]] {
            lock.store(0, std::memory_order_release);
        }
        return 0;
    }
    if (!lock.compare_exchange_strong(word, 0, std::memory_order_release, std::memory_order_relaxed) &&
        (word == takenInC || word == awaitedInC)) [[unlikely]] {
        if (lock.exchange(0, std::memory_order_release) == awaitedInC) {
            syscall(SYS_futex, &mutex.__data.__lock, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
        }
    }
    return 0;
}

} // namespace slotmutex

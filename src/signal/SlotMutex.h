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
/// Internal: clients go through `BaseSignal`.
#pragma once

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
static_assert(offsetof(pthread_mutex_t, __data.__lock) == 0 && sizeof(int) == 4);
static_assert(offsetof(pthread_mutex_t, __data.__kind) == 16);
static_assert(std::atomic_ref<int>::is_always_lock_free);

/// Whether the mutex is of the default kind; locks of no other kind are understood here.
inline bool isDefault(pthread_mutex_t& mutex) {
    return std::atomic_ref(mutex.__data.__kind).load(std::memory_order_relaxed) == PTHREAD_MUTEX_DEFAULT;
}

/// \return 0: taken; EBUSY: somebody has it; EINVAL: not a default mutex
inline int tryLock(pthread_mutex_t& mutex) {
    if (!isDefault(mutex)) [[unlikely]] {
        return EINVAL;
    }
    int free = 0;
    const bool taken =
        std::atomic_ref(mutex.__data.__lock)
            .compare_exchange_strong(free, 1, std::memory_order_acquire, std::memory_order_relaxed);
    return taken ? 0 : EBUSY;
}

/// Releases the mutex, whoever has it. Wakes a thread of this process that is blocked in
/// `pthread_mutex_lock`; one of another process cannot be woken, as the mutex is not process-shared.
/// \return 0, or EINVAL: not a default mutex, which is left alone
inline int unlock(pthread_mutex_t& mutex) {
    if (!isDefault(mutex)) [[unlikely]] {
        return EINVAL;
    }
    const std::atomic_ref lock(mutex.__data.__lock);
    if (__libc_single_threaded) { // nobody to wake, so the costly exchange is spared
        lock.store(0, std::memory_order_release);
        return 0;
    }
    const int old = lock.exchange(0, std::memory_order_release);
    if (old != 0 && old != 1) [[unlikely]] {
        syscall(SYS_futex, &mutex.__data.__lock, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }
    return 0;
}

} // namespace slotmutex

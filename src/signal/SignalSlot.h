/// \file
/// The record that holds one signal's latest value.
///
/// It lives in a pool of private slots or in a System V shared-memory segment of its own, where several
/// processes read and write it: its layout is a format between processes and never changes.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <string_view>

/// One signal's latest value (x86-64, little endian, 104 bytes). `mutex` guards `valid`, `raw` and
/// `timestamp`. It is an all-zero default mutex, not marked process-shared, and is therefore only ever taken
/// by trying: a waiter blocked in another process would not be woken.
///
/// What a slot in shared memory holds is trusted in nothing, as everybody may write to it at any moment.
/// - `size` and `valid` tell, when a process attaches, whether the slot was initialised; nothing else.
/// - `name` and `padding` are never read. `name` may lack its NUL.
/// - `valid` counts as 1 unless it is 0.
/// - `mutex`: its kind and its lock word are looked at. With a kind other than the default one it refuses to
///   be locked, which is reported; operations go on without it. A lock word that is never zero
///   makes operations wait for ever, unless it names a thread that has died. Nothing else in it is read, and
///   no call of the C library gets it.
/// - `raw` and `timestamp` may be any 64 bits.
struct signalSlot_t {
    std::uint64_t size = 0; ///< sizeof(signalSlot_t) once initialised
    char name[32] = {};     ///< signal name, at most 31 characters, NUL-terminated, rest zero
    std::uint8_t valid = 0; ///< 1: a value was written since creation or the last clear
    std::uint8_t padding[7] = {};
    pthread_mutex_t mutex = {};
    std::uint64_t raw = 0; ///< the extracted field, sign-extended if signed, or the bits of a float/double
    std::uint64_t timestamp = 0; ///< of the last write, nanoseconds since 1970-01-01 00:00 UTC

    static constexpr std::uint64_t unwrittenRaw = 0xaaaaaaaa;       ///< `raw` of a slot never written
    static constexpr std::uint64_t unwrittenTimestamp = 0x55555555; ///< `timestamp` of a slot never written

    /// Makes it that of a signal never written. `size` comes last: before that the slot counts as blank.
    void initialise(std::string_view signal) {
        std::fill_n(name, sizeof name, '\0');
        signal.copy(name, sizeof name - 1);
        valid = 0;
        raw = unwrittenRaw;
        timestamp = unwrittenTimestamp;
        std::atomic_ref(size).store(sizeof *this, std::memory_order_release);
    }
    /// Leaves it without a value. The validity goes first: who looks at it last never takes what is half zero
    /// for a value. Processors of this kind keep the order of stores, and of loads; the compiler is told to.
    void clear() {
        valid = 0;
        std::atomic_signal_fence(std::memory_order_release);
        raw = 0;
        timestamp = 0;
    }
    /// Whether it was never initialised nor written to.
    bool isBlank() { return std::atomic_ref(size).load(std::memory_order_acquire) == 0 && valid == 0; }
};

static_assert(sizeof(signalSlot_t) == 104);
static_assert(offsetof(signalSlot_t, size) == 0);
static_assert(offsetof(signalSlot_t, name) == 8);
static_assert(offsetof(signalSlot_t, valid) == 40);
static_assert(offsetof(signalSlot_t, padding) == 41);
static_assert(offsetof(signalSlot_t, mutex) == 48 && sizeof(pthread_mutex_t) == 40);
static_assert(offsetof(signalSlot_t, raw) == 88);
static_assert(offsetof(signalSlot_t, timestamp) == 96);

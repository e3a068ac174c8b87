/// \file
/// A look at what lies in a slot, without its lock.
#pragma once

#include "signal/SlotView.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

/// A copy of a slot.
struct SlotLook {
    std::uint64_t size;
    std::string name; ///< up to the first NUL
    bool isPadded;    ///< nothing has written over the padding
    std::uint8_t valid;
    bool isDefaultMutex;
    std::uint32_t lockWord = 0; ///< not 0: the slot was locked whenever it was looked at
    pid_t libraryOwner;         ///< what the C library notes of who locked it; 0 if nobody did so by it
    std::uint64_t raw = 0;      ///< written together with `timestamp` if `lockWord` is 0
    std::uint64_t timestamp = 0;

    /// REQUIRES: the view is attached
    explicit SlotLook(const SlotView& view);

    bool isBlank() const { return size == 0 && valid == 0; }
    bool isInitialised() const { return size == sizeof(signalSlot_t) && valid <= 1 && isPadded; }
    /// Whether the same thread may have the lock as when `before` was taken, and has written nothing.
    bool isHeldAs(const SlotLook& before) const {
        return lockWord == before.lockWord && libraryOwner == before.libraryOwner && raw == before.raw &&
               timestamp == before.timestamp && valid == before.valid;
    }
};

/// Who has a lock, as far as anybody can tell.
struct LockHolder {
    enum class State : std::uint8_t { Exists, Gone, Unknown };
    State state = State::Unknown;
    pid_t thread = 0;       ///< 0: unknown
    bool isCertain = false; ///< the lock word says so; else it is what the C library notes beside it

    /// REQUIRES: `look.lockWord` is not 0
    static LockHolder of(const SlotLook& look);
};

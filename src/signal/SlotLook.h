/// \file
/// A look at what lies in a slot, without its lock.
#pragma once

#include "signal/SignalSlot.h"

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

/// The segment of a slot, attached for as long as the object lives.
class AttachedSlot {
  public:
    enum class Access : std::uint8_t { Read, Write };

    AttachedSlot(int shmId, Access access);

    signalSlot_t* slot() const { return attached.get(); } ///< null if it could not be attached
    int error() const { return number; }                  ///< why

  private:
    struct Detach {
        void operator()(signalSlot_t* slot) const;
    };

    std::unique_ptr<signalSlot_t, Detach> attached;
    int number = 0;
};

/// A copy of a slot.
struct SlotLook {
    std::uint64_t size;
    std::string name; ///< up to the first NUL
    bool isPadded;    ///< nothing has written over the padding
    std::uint8_t valid;
    bool isDefaultMutex;
    std::uint32_t lockWord;
    pid_t libraryOwner; ///< what the C library notes of who locked it; 0 if nobody did so by the C library
    std::uint64_t raw;
    std::uint64_t timestamp;

    /// `valid`, `raw` and `timestamp` were written together if `lockWord` is 0: others are tried again a few
    /// hundred times. REQUIRES: the segment has at least the size of a slot
    explicit SlotLook(const signalSlot_t& slot);

    bool isBlank() const { return size == 0 && valid == 0; }
    bool isInitialised() const { return size == sizeof(signalSlot_t) && valid <= 1 && isPadded; }
    /// Whether the same thread may have the lock as when `before` was taken, and has written nothing.
    bool isHeldAs(const SlotLook& before) const {
        return lockWord == before.lockWord && libraryOwner == before.libraryOwner && raw == before.raw &&
               timestamp == before.timestamp && valid == before.valid;
    }
};

/// Who has a lock.
struct LockHolder {
    enum class State : std::uint8_t { Exists, Gone, Unknown };
    State state = State::Unknown;
    pid_t thread = 0;       ///< 0: unknown
    bool isCertain = false; ///< else somebody may have it who does not say so

    /// Of a lock word that is not 0.
    static LockHolder of(const SlotLook& look);
};

/// \file
/// Who has the lock of a slot, and whether he is still there.
#pragma once

#include "signal/Export.h"
#include "signal/SignalSlot.h"

#include <cstdint>
#include <sys/types.h>

/// What a slot's lock word says of its holder.
struct RKSIGNAL_EXPORT SlotHolder {
    enum class Kind : std::uint8_t {
        Nobody,
        CLibrary,      ///< somebody who locked it through the C library, which leaves no mark
        Thread,        ///< `thread`, of the PID namespace of this process, or of one that has the same tag
        OtherThread,   ///< `thread`, of another PID namespace
        Unintelligible ///< nothing that a lock word can be
    };

    Kind kind = Kind::Nobody;
    pid_t thread = 0; ///< of the last two kinds that name one: as it is known in its namespace

    static SlotHolder of(std::uint32_t lockWord);

    /// Whether the thread does not exist any more, or has ended and waits to be noticed by its parent. False
    /// if that cannot be found out. A thread that has come by the identifier of another one counts as that
    /// one. Some ten system calls.
    bool isGone() const;
};

/// Takes the lock over from a holder who is gone for good: makes the value invalid, which may be half
/// written, and releases the lock. It is up to the caller to know that nobody has it. \return false if the
/// lock word is not `lockWord` any more, or the mutex is none of the default kind
RKSIGNAL_EXPORT bool releaseSlot(signalSlot_t& slot, std::uint32_t lockWord);

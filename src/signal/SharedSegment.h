/// \file
/// Finds or creates the System V shared-memory segment of a signal instance, and attaches its slot.
///
/// A segment is found by the key of the instance's key file, as any process finds it. Two key files can have
/// one key, so a key does not prove whose segment it leads to; a wrong one would give another signal's value
/// as valid. Therefore
///
/// - a new key file gets a key that is free, and the key is claimed for its instance (`KeyClaim`);
/// - a segment that the claim names is the instance's own;
/// - a segment that no claim names was made by a process that makes no claims. It is the instance's own if
///   no other key file in /tmp has the key; else it is refused. It is claimed from then on.
///
/// One process at a time does all this, initialising the slot included. A process that dies on the way leaves
/// at most a claim without a key file, a key file without a segment or a slot not initialised, and each of
/// them is put right by the next.
#pragma once

#include "signal/SegmentAccess.h"
#include "signal/SignalSlot.h"

#include <string>
#include <sys/types.h>

/// A segment, or why there is none.
struct SharedSegment {
    enum class Outcome {
        Created,     ///< new
        Found,       ///< it existed
        MissingFile, ///< no key: the name is not a plain file name, the file is a symbolic link, or `ftok`
                     ///< failed
        ShmgetFailed,
        KeyTaken, ///< the key is, or may be, that of another instance, `owner`
    };

    Outcome outcome;
    key_t key = -1;
    int shmId = -1;               ///< -1 unless created or found
    signalSlot_t* slot = nullptr; ///< attached and initialised; null if that failed, with `error`
    int error = 0;                ///< errno of MissingFile, ShmgetFailed, or attaching
    int accessError = 0;          ///< errno of giving a new one its group; it is its owner's alone then
    std::string owner;            ///< of KeyTaken; empty if unknown

    /// Finds or creates the segment of `instance`. The slot of a new one, or of one that its creator left
    /// without, is initialised as that of a signal called `signal`. `access` is for what is new. Never opens
    /// a path outside /tmp and never follows a symbolic link. May run in several processes and threads at
    /// once.
    static SharedSegment acquire(const std::string& instance, const std::string& signal,
                                 const SegmentAccess& access);
};

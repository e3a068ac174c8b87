/// \file
/// What slots there are in shared memory, what is wrong with them, and how that is mended.
///
/// For operators' tools, not for decoding: looking reads all System V segments of the system and the key
/// files in /tmp. It creates, locks and changes nothing, and needs read permission only; what it may not read
/// it lists without content. `release` and `remove` change what they are told to.
#pragma once

#include "signal/Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

/// A signal that shall be in shared memory, as its definition names it.
struct ExpectedSlot {
    std::string instance;
    std::string signal;
};

/// What is wrong with a slot.
enum class SlotFault : std::uint8_t {
    Missing,         ///< expected, and there is no segment
    UnusableName,    ///< expected, but the instance name cannot be that of a key file: it is never shared
    KeyTaken,        ///< expected, but its key file has the key of another instance, `SlotRecord::other`
    WrongSize,       ///< the segment that the key leads to has not the size of a slot
    OtherSignal,     ///< the slot's name is not the expected one, `SlotRecord::other`
    Uninitialised,   ///< made, but never given its name
    Overwritten,     ///< something has written over its size or its mutex
    KeyFileGone,     ///< processes that start do not find it: there is no key file
    KeyFileReplaced, ///< the same: the key file leads to another key
    Removed,         ///< marked for removal: only who is attached still sees it
    LeftOver,        ///< nobody is attached, and nobody expects it
    HolderGone,      ///< locked by a thread that no longer exists
    HolderUnknown,   ///< locked for longer than any operation takes, nobody can tell by whom
    HeldLong,        ///< the same by a thread that exists: it is stopped, perhaps
};

/// A segment, or a signal that should have one.
struct SlotRecord {
    std::string instance; ///< by its claim, else by its key file; empty: unknown
    bool isExpected = false;
    std::vector<SlotFault> faults; ///< in the order of SlotFault
    std::string other;             ///< see SlotFault

    // --- the segment ---
    int shmId = -1; ///< -1: there is none
    key_t key = -1; ///< without a segment that of the key file; -1: none. 0 (IPC_PRIVATE): marked for removal
    std::size_t size = 0; ///< bytes
    uid_t owner = 0;
    mode_t mode = 0;          ///< permission bits
    pid_t creator = 0;        ///< process that made it; its number may be another's by now
    std::size_t attached = 0; ///< signals of all processes, before this look
    std::time_t changed = 0;  ///< when it was made, or its permissions set; seconds since 1970-01-01 UTC

    // --- what lies in it ---
    bool isReadable = false; ///< else the rest is unknown
    std::string signal;      ///< name in the slot
    bool isValid = false;
    std::uint64_t raw = 0;
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 UTC
    std::uint32_t lockWord = 0;  ///< 0: free
    pid_t holder = 0;            ///< thread that holds the lock; 0: unknown, or nobody

    bool has(SlotFault fault) const { return std::find(faults.begin(), faults.end(), fault) != faults.end(); }
};

/// All slots at one moment.
class RKSIGNAL_EXPORT SlotInventory {
  public:
    /// Looks at all segments that are, or look like, slots: of any user, with what can be read of them. A
    /// second passes if one is locked and its holder not known to be gone, since it might let go.
    explicit SlotInventory(std::span<const ExpectedSlot> expected = {});

    /// By instance and identifier.
    const std::vector<SlotRecord>& slots() const { return records; }

    /// Frees the lock of a slot with HolderGone or HolderUnknown. The slot is invalid then, as its holder may
    /// have left half a value. Threads that wait for the lock go on.
    /// \return 0; EBUSY if the lock has changed hands since, or its holder exists; else the number of the
    /// error
    static int release(const SlotRecord& slot);

    /// Removes a segment that nobody is attached to, its claim, and its key file if that leads to it. No
    /// process of this library starts a signal meanwhile. \return 0; EBUSY if somebody is attached by now;
    /// EAGAIN if processes that start could not be kept out; else the number of the error
    static int remove(const SlotRecord& slot);

  private:
    std::vector<SlotRecord> records;
};

/// \file
/// Looks at the slot of a shared signal without a part in it.
///
/// For programs that show, publish or examine what others write. A view creates, removes, locks and writes
/// nothing, needs only permission to read, and leaves no trace beside the count of attached processes. A
/// process that decodes, or that must not miss that a slot is locked, uses `BaseSignal`.
#pragma once

#include "signal/Export.h"
#include "signal/SignalSlot.h"

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

/// One slot, attached read-only, or the reason why there is none. It stays attached, and shows the last
/// value, also when the segment is removed: ask `isCurrent` from time to time, and look again.
///
/// Threads: a view may be read by several at once. It takes part in a fork as every attached segment does.
class RKSIGNAL_EXPORT SlotView {
  public:
    enum class Attachment : std::uint8_t {
        Attached,
        NoName,       ///< none was given, or it is not a plain file name
        NoKeyFile,    ///< nobody has ever shared a signal of this name, or the file was deleted
        NoSegment,    ///< nobody shares it now
        NotPermitted, ///< this user may not read it
        WrongSize,    ///< the segment is smaller than a slot
        OtherSignal,  ///< the key of the name leads, or may lead, to the segment of another signal
        Failed,       ///< anything else: `error` says what
    };

    enum class State : std::uint8_t {
        Value,
        NoValue,       ///< never written, or cleared
        Uninitialised, ///< its creator has not come to that, or nothing is attached
        Held,          ///< it was locked whenever it was looked at
    };

    /// Attached to nothing.
    SlotView() = default;
    /// Looks for the segment of an instance as a process that builds the signal does, and attaches it. About
    /// ten system calls; where the segment was made by a process that makes no claims (signal/KeyClaim.h),
    /// reads the directory /tmp as well.
    explicit SlotView(const std::string& instance);
    /// Attaches a segment whose identifier is known. `isCurrent` then does without a name.
    static SlotView ofSegment(int shmId);

    Attachment attachment() const { return result; }
    bool isAttached() const { return slot != nullptr; }
    /// The error number of the system call that failed, or 0.
    int error() const { return errorNumber; }
    key_t key() const { return segmentKey; } ///< of the name, as far as it was found; -1 if not
    int shmId() const { return segment; }    ///< of the segment, as far as it was found; -1 if not

    /// Reads a raw value and its time stamp that belong together, without the lock. Without a value both are
    /// set to what the slot holds, as `BaseSignal::read` does; `Held` leaves them alone, as does a view that
    /// is not attached. Some 10 ns; 20 us at most, while the slot is held.
    ///
    /// It is one that was written as long as no time stamp but 0, which clearing leaves, comes again while it
    /// reads, other than with the same value, or at once after itself. A process that was killed under the
    /// lock leaves `Held` for those who wait for the lock to mend.
    State read(std::uint64_t& raw, std::uint64_t& timestamp) const;

    /// Whether the segment has not been removed, and the name still leads to it. Two system calls.
    bool isCurrent() const;

    /// All of the slot, where everything may change at any moment and may be anything; null if nothing is
    /// attached. For examinations: values are read by `read`.
    const signalSlot_t* content() const { return slot.get(); }

    /// The slot's lock word as it is now (signal/SlotMutex.h); 0 if nothing is attached.
    std::uint32_t lockWord() const;
    /// The signal's name as it stands in the slot, at most 32 bytes of anything; empty if nothing is
    /// attached.
    std::string name() const;

  private:
    struct Detach {
        void operator()(const signalSlot_t* attached) const;
    };

    RKSIGNAL_HIDDEN void attach();

    std::string instance;
    key_t segmentKey = -1;
    int segment = -1;
    int errorNumber = 0;
    Attachment result = Attachment::NoName;
    std::unique_ptr<const signalSlot_t, Detach> slot;
};

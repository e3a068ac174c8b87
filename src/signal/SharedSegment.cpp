#include "signal/SharedSegment.h"

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"
#include "signal/SlotMutex.h"
#include "signal/SlotWait.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

namespace {

using Outcome = SharedSegment::Outcome;

/// What a process that writes must be allowed to do with a segment that it finds.
constexpr int readAndWrite = 0666;

/// How often a segment may vanish between finding and attaching it, before that is reported.
constexpr int maxVanished = 100;

/// How long a blank slot may be locked before it is initialised all the same, ns.
constexpr std::int64_t longestWait = 100'000'000;

SharedSegment missingFile(int error) {
    return {.outcome = Outcome::MissingFile, .error = error, .owner = {}};
}

SharedSegment keyTaken(key_t key, const std::string& owner) {
    return {.outcome = Outcome::KeyTaken, .key = key, .owner = owner};
}

/// Creates the segment with this key, its owner's alone until it has the group that was asked for.
SharedSegment create(key_t key, const SegmentAccess& access) {
    SharedSegment segment{.outcome = Outcome::Created, .key = key, .owner = {}};
    const mode_t mode = access.mode & 0666;
    segment.shmId = shmget(key, sizeof(signalSlot_t),
                           IPC_CREAT | IPC_EXCL | static_cast<int>(access.group ? mode & 0600 : mode));
    if (segment.shmId < 0) {
        segment.outcome = Outcome::ShmgetFailed;
        segment.error = errno;
        return segment;
    }
    if (access.group) {
        shmid_ds status{};
        status.shm_perm.uid = geteuid();
        status.shm_perm.gid = *access.group;
        status.shm_perm.mode = static_cast<decltype(status.shm_perm.mode)>(mode);
        segment.accessError = shmctl(segment.shmId, IPC_SET, &status) == 0 ? 0 : errno;
    }
    return segment;
}

/// The segment with this key, whoever it belongs to, created if there is none.
SharedSegment findOrCreate(key_t key, const SegmentAccess& access) {
    for (;;) {
        const int found = shmget(key, sizeof(signalSlot_t), readAndWrite);
        if (found >= 0) {
            return {.outcome = Outcome::Found, .key = key, .shmId = found, .owner = {}};
        }
        if (errno != ENOENT) {
            return {.outcome = Outcome::ShmgetFailed, .key = key, .error = errno, .owner = {}};
        }
        SharedSegment created = create(key, access);
        if (created.error != EEXIST) { // else another process has been quicker
            return created;
        }
    }
}

/// Initialises a slot unless that has been done. Others may do the same at this moment, or write already, if
/// this process or another goes on without the StartLock: so it is done under the slot's lock, unless that
/// cannot be had.
void initialise(signalSlot_t& slot, const std::string& signal) {
    int result = EBUSY;
    for (SlotWait wait(slot.mutex); slot.isBlank() && result == EBUSY && wait.duration() < longestWait;) {
        result = wait.takesOver() ? 0 : slotmutex::tryLock(slot.mutex);
        if (result == EBUSY) {
            wait.pause();
        }
    }
    if (slot.isBlank()) {
        slot.initialise(signal);
    }
    if (result == 0) {
        slotmutex::unlock(slot.mutex);
    }
}

/// Attaches the slot, and initialises it unless that has been done.
void attach(SharedSegment& segment, const std::string& signal) {
    void* const address = shmat(segment.shmId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        segment.error = errno;
        return;
    }
    segment.slot = static_cast<signalSlot_t*>(address);
    initialise(*segment.slot, signal);
}

/// Whether the segment was removed after it had been found.
bool hasVanished(const SharedSegment& segment) {
    return segment.slot == nullptr && (segment.error == EINVAL || segment.error == EIDRM);
}

/// The segment of an instance whose key file has this key.
SharedSegment acquireByKey(key_t key, const std::string& instance, const std::string& signal,
                           const SegmentAccess& access) {
    const std::string owner = KeyClaim::ownerOf(key);
    if (!owner.empty() && owner != instance) {
        return keyTaken(key, owner);
    }
    SharedSegment segment{.outcome = Outcome::ShmgetFailed, .owner = {}};
    for (int tries = 0; tries < maxVanished; ++tries) {
        segment = findOrCreate(key, access);
        if (segment.shmId < 0) {
            return segment;
        }
        const bool isProven = KeyClaim::proves(key, instance, segment.shmId);
        if (segment.outcome == Outcome::Found && !isProven) {
            if (const std::string rival = keyfile::rivalOf(instance, key); !rival.empty()) {
                return keyTaken(key, rival);
            }
        }
        attach(segment, signal);
        if (!hasVanished(segment)) {
            if (!isProven) {
                KeyClaim::record(key, instance, segment.shmId);
            }
            break;
        }
    }
    return segment;
}

} // namespace

SharedSegment SharedSegment::acquire(const std::string& instance, const std::string& signal,
                                     const SegmentAccess& access) {
    if (!keyfile::isPlainFileName(instance)) {
        return missingFile(ENOENT);
    }
    const StartLock lock;
    const int error = keyfile::truncate(instance);
    if (error == ELOOP) {
        return missingFile(error);
    }
    if (error == ENOENT) {
        const keyfile::Creation creation = keyfile::create(instance, access);
        if (creation.error == EADDRINUSE) {
            return keyTaken(creation.key, creation.owner);
        }
        if (creation.error != 0 && creation.error != EEXIST) {
            return missingFile(creation.error);
        }
    }
    // Any other error leaves the file as it is: its key counts even if it cannot be opened.
    const key_t key = keyfile::keyOf(keyfile::pathOf(instance));
    return key == -1 ? missingFile(errno) : acquireByKey(key, instance, signal, access);
}

#include "signal/SharedSegment.h"

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace {

using Outcome = SharedSegment::Outcome;

constexpr int permissions = 0666;

/// How often a segment may vanish between finding and attaching it, before that is reported.
constexpr int maxVanished = 100;

SharedSegment missingFile(int error) {
    return {.outcome = Outcome::MissingFile, .error = error, .owner = {}};
}

SharedSegment keyTaken(key_t key, const std::string& owner) {
    return {.outcome = Outcome::KeyTaken, .key = key, .owner = owner};
}

/// The segment with this key, whoever it belongs to, created if there is none.
SharedSegment findOrCreate(key_t key) {
    for (;;) {
        const int found = shmget(key, sizeof(signalSlot_t), permissions);
        if (found >= 0) {
            return {.outcome = Outcome::Found, .key = key, .shmId = found, .owner = {}};
        }
        const int created =
            errno == ENOENT ? shmget(key, sizeof(signalSlot_t), IPC_CREAT | IPC_EXCL | permissions) : -1;
        if (created >= 0) {
            return {.outcome = Outcome::Created, .key = key, .shmId = created, .owner = {}};
        }
        if (errno != EEXIST) { // else another process has been quicker
            return {.outcome = Outcome::ShmgetFailed, .key = key, .error = errno, .owner = {}};
        }
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
    if (segment.slot->isBlank()) {
        segment.slot->initialise(signal);
    }
}

/// Whether the segment was removed after it had been found.
bool hasVanished(const SharedSegment& segment) {
    return segment.slot == nullptr && (segment.error == EINVAL || segment.error == EIDRM);
}

/// The segment of an instance whose key file has this key.
SharedSegment acquireByKey(key_t key, const std::string& instance, const std::string& signal) {
    const std::string owner = KeyClaim::ownerOf(key);
    if (!owner.empty() && owner != instance) {
        return keyTaken(key, owner);
    }
    SharedSegment segment{.outcome = Outcome::ShmgetFailed, .owner = {}};
    for (int tries = 0; tries < maxVanished; ++tries) {
        segment = findOrCreate(key);
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

SharedSegment SharedSegment::acquire(const std::string& instance, const std::string& signal) {
    if (!keyfile::isPlainFileName(instance)) {
        return missingFile(ENOENT);
    }
    const StartLock lock;
    const int error = keyfile::truncate(instance);
    if (error == ELOOP) {
        return missingFile(error);
    }
    if (error == ENOENT) {
        const keyfile::Creation creation = keyfile::create(instance);
        if (creation.error == EADDRINUSE) {
            return keyTaken(creation.key, creation.owner);
        }
        if (creation.error != 0 && creation.error != EEXIST) {
            return missingFile(creation.error);
        }
    }
    // Any other error leaves the file as it is: its key counts even if it cannot be opened.
    const key_t key = keyfile::keyOf(keyfile::pathOf(instance));
    return key == -1 ? missingFile(errno) : acquireByKey(key, instance, signal);
}

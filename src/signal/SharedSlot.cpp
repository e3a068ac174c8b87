// The side of BaseSignal that deals with shared memory: getting a segment, locking the slot, letting go.

#include "signal/BaseSignal.h"
#include "signal/Diagnostics.h"
#include "signal/KeyFile.h"
#include "signal/SharedSegment.h"
#include "signal/SlotWait.h"

#include <cerrno>
#include <sys/shm.h>

bool BaseSignal::createSharedMemory() {
    constexpr LogSite site{"BaseSignal", "createSharedMemory"};
    const std::string& instance = def.instance;
    const SharedSegment segment = SharedSegment::acquire(instance, def.signal, segmentAccess);
    key = segment.key;
    shmId = segment.shmId;
    switch (segment.outcome) {
    case SharedSegment::Outcome::MissingFile:
        logSystemError(site, segment.error, instance, ": Missing File (", keyfile::pathOf(instance), ")");
        return false;
    case SharedSegment::Outcome::ShmgetFailed:
        logSystemError(site, segment.error, instance, ": shmget (", instance, ")");
        return false;
    case SharedSegment::Outcome::KeyTaken:
        logError(site, instance, ": key 0x", std::hex, key, std::dec, " already belongs to ",
                 segment.owner.empty() ? "another segment" : segment.owner);
        return false;
    case SharedSegment::Outcome::Created:
        pthread_mutex_init(&privateSlot.mutex,
                           nullptr); // the segment's own is used as the system delivers it
        break;
    case SharedSegment::Outcome::Found:
        break;
    }
    initSmData = segment.outcome == SharedSegment::Outcome::Created;
    logInfo(site, instance, ": shmId = ", std::dec, shmId, initSmData ? " created" : " found");
    if (segment.accessError != 0) {
        logSystemError(site, segment.accessError, instance, ": group ", std::dec, *segmentAccess.group);
    }
    if (debug) {
        // Leaves standard output in boolalpha mode, as callers have come to expect.
        logDebug(site, instance, ": key = 0x", std::hex, key, ", shmId = ", std::dec, shmId,
                 ", initSmData = ", std::boolalpha, initSmData);
    }
    if (segment.slot == nullptr) {
        logSystemError(site, segment.error, "shmat (", instance, ")");
        return false;
    }
    slot = segment.slot;
    return true;
}

void BaseSignal::releaseSharedMemory() {
    constexpr LogSite site{"BaseSignal", "~BaseSignal"};
    const std::string& instance = def.instance;
    if (shmdt(slot) != 0) {
        logSystemError(site, errno, "shmdt (", instance, ")");
    }
    if (!detachOnly && shmctl(shmId, IPC_RMID, nullptr) != 0) {
        logSystemError(site, errno, "shmctl (", instance, ")");
    }
    logInfo(site, instance, ": shmId = ", std::dec, shmId, detachOnly ? " detached" : " destroyed");
    if (debug) {
        logDebug(site, instance, ", shared memory and mutex deleted");
    }
}

/// \param result of the first try, which has failed
void BaseSignal::keepTryingToLock(int result) {
    constexpr LogSite site{"BaseSignal", "lock"};
    for (SlotWait wait(slot->mutex); result == EBUSY; result = slotmutex::tryLock(slot->mutex)) {
        if (wait.takesOver()) {
            slot->clear();
            logError(site, def.instance, ": thread ", std::dec, wait.formerHolder().thread,
                     " died while it held the lock, value cleared");
            return;
        }
        if (debug) {
            logDebug(site, "mutex trylock(", def.instance, "): retrying");
        }
        wait.pause();
    }
    if (result != 0) {
        logSystemError(site, result, "mutex trylock(", def.instance, ")");
    }
}

void BaseSignal::reportUnlock(int error) const {
    logSystemError({"BaseSignal", "unlock"}, error, "mutex unlock(", def.instance, ")");
}

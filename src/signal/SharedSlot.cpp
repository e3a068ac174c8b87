// The side of BaseSignal that deals with shared memory: getting a segment, locking the slot, letting go.

#include "signal/BaseSignal.h"
#include "signal/Diagnostics.h"
#include "signal/SharedSegment.h"

#include <cerrno>
#include <sched.h>
#include <sys/shm.h>

bool BaseSignal::createSharedMemory() {
    constexpr LogSite site{"BaseSignal", "createSharedMemory"};
    const std::string& instance = def.instance;
    const SharedSegment segment = SharedSegment::acquire(instance, sizeof(signalSlot_t));
    key = segment.key;
    shmId = segment.shmId;
    switch (segment.outcome) {
    case SharedSegment::Outcome::MissingFile:
        logSystemError(site, segment.error, instance, ": Missing File (", SharedSegment::keyFile(instance),
                       ")");
        return false;
    case SharedSegment::Outcome::ShmgetFailed:
        logSystemError(site, segment.error, instance, ": shmget (", instance, ")");
        return false;
    case SharedSegment::Outcome::KeyTaken:
        logError(site, instance, ": key 0x", std::hex, key, std::dec, " already belongs to ",
                 segment.owner.empty() ? "another segment" : segment.owner);
        return false;
    case SharedSegment::Outcome::Created:
        // The segment's own mutex stays as the system delivers it: all zero is an unlocked default mutex.
        pthread_mutex_init(&privateSlot.mutex, nullptr);
        break;
    case SharedSegment::Outcome::Found:
        break;
    }
    initSmData = segment.outcome == SharedSegment::Outcome::Created;
    logInfo(site, instance, ": shmId = ", std::dec, shmId, initSmData ? " created" : " found");
    if (debug) {
        // Leaves standard output in boolalpha mode, as callers have come to expect.
        logDebug(site, instance, ": key = 0x", std::hex, key, ", shmId = ", std::dec, shmId,
                 ", initSmData = ", std::boolalpha, initSmData);
    }
    SharedSegment::noteUse(shmId, instance);
    void* const address = shmat(shmId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        logSystemError(site, errno, "shmat (", instance, ")");
        slot = &privateSlot;
        return false;
    }
    slot = static_cast<signalSlot_t*>(address);
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
    SharedSegment::releaseUse(shmId);
    if (debug) {
        logDebug(site, instance, ", shared memory and mutex deleted");
    }
}

void BaseSignal::keepTryingToLock() {
    constexpr LogSite site{"BaseSignal", "lock"};
    for (;;) {
        const int result = pthread_mutex_trylock(&slot->mutex);
        if (result == 0) {
            return;
        }
        if (result != EBUSY) {
            logSystemError(site, result, "mutex trylock(", def.instance, ")");
            return;
        }
        if (debug) {
            logDebug(site, "mutex trylock(", def.instance, "): retrying");
        }
        sched_yield();
    }
}

void BaseSignal::reportUnlock(int error) const {
    logSystemError({"BaseSignal", "unlock"}, error, "mutex unlock(", def.instance, ")");
}

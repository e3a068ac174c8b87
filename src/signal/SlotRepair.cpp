// The side of SlotInventory that changes something: frees locks, removes segments.

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"
#include "signal/SlotInventory.h"
#include "signal/SlotLook.h"
#include "signal/SlotMutex.h"

#include <atomic>
#include <cerrno>
#include <sys/shm.h>

namespace {

/// Whether the identifier still stands for the segment that was looked at.
bool isSame(const SlotRecord& slot, const shmid_ds& status) {
    return status.shm_perm.__key == slot.key && status.shm_ctime == slot.changed &&
           status.shm_segsz == slot.size && status.shm_cpid == slot.creator;
}

/// Makes the lock this thread's, if nobody has let it go or taken it since. \return 0 or EBUSY
int takeOver(signalSlot_t& slot, std::uint32_t lockWord) {
    int expected = static_cast<int>(lockWord);
    const std::atomic_ref lock(slot.mutex.__data.__lock);
    return lock.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)
               ? 0
               : EBUSY;
}

} // namespace

int SlotInventory::release(const SlotRecord& slot) {
    if (slot.size < sizeof(signalSlot_t)) {
        return EINVAL;
    }
    shmid_ds status{};
    if (shmctl(slot.shmId, IPC_STAT, &status) != 0) {
        return errno;
    }
    const AttachedSlot attached(slot.shmId, AttachedSlot::Access::Write);
    if (attached.slot() == nullptr) {
        return attached.error();
    }
    if (!isSame(slot, status)) {
        return EBUSY;
    }
    signalSlot_t& content = *attached.slot();
    const SlotLook look(content);
    const bool isAsBefore = look.lockWord != 0 && look.lockWord == slot.lockWord && look.raw == slot.raw &&
                            look.timestamp == slot.timestamp && look.isDefaultMutex;
    if (!isAsBefore || LockHolder::of(look).state == LockHolder::State::Exists ||
        takeOver(content, slot.lockWord) != 0) {
        return EBUSY;
    }
    content.valid = 0;
    content.raw = 0;
    content.timestamp = 0;
    content.mutex.__data.__owner = 0; // else the C library's word would stand for whoever comes next
    return slotmutex::unlock(content.mutex);
}

int SlotInventory::remove(const SlotRecord& slot) {
    const StartLock lock;
    if (!lock.isHeld()) {
        return EAGAIN;
    }
    shmid_ds status{};
    if (shmctl(slot.shmId, IPC_STAT, &status) != 0) {
        return errno;
    }
    if (!isSame(slot, status) || status.shm_nattch != 0) {
        return EBUSY;
    }
    if (shmctl(slot.shmId, IPC_RMID, nullptr) != 0) {
        return errno;
    }
    if (slot.instance.empty()) {
        return 0;
    }
    const int error = keyfile::remove(slot.instance, slot.key);
    return error != 0
               ? error
               : KeyClaim::remove({slot.key, slot.instance, KeyClaim::segmentName(slot.shmId, slot.changed)});
}

// The side of SlotInventory that changes something: frees locks, removes segments.

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"
#include "signal/SlotHolder.h"
#include "signal/SlotInventory.h"
#include "signal/SlotLook.h"

#include <cerrno>
#include <sys/shm.h>

namespace {

/// Whether the identifier still stands for the segment that was looked at.
bool isSame(const SlotRecord& slot, const shmid_ds& status) {
    return status.shm_perm.__key == slot.key && status.shm_ctime == slot.changed &&
           status.shm_segsz == slot.size && status.shm_cpid == slot.creator;
}

} // namespace

int SlotInventory::release(const SlotRecord& slot) {
    const SlotView view = SlotView::ofSegment(slot.shmId);
    if (!view.isAttached()) {
        return view.error() != 0 ? view.error() : EINVAL;
    }
    shmid_ds status{};
    if (shmctl(slot.shmId, IPC_STAT, &status) != 0) {
        return errno;
    }
    const SlotLook look(view);
    const bool isAsBefore = isSame(slot, status) && look.lockWord != 0 && look.lockWord == slot.lockWord &&
                            look.raw == slot.raw && look.timestamp == slot.timestamp;
    if (!isAsBefore || LockHolder::of(look).state == LockHolder::State::Exists) {
        return EBUSY;
    }
    void* const address = shmat(slot.shmId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        return errno;
    }
    const bool isReleased = releaseSlot(*static_cast<signalSlot_t*>(address), slot.lockWord);
    shmdt(address);
    return isReleased ? 0 : EBUSY;
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

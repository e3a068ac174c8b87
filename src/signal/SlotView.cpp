#include "signal/SlotView.h"

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"

#include <algorithm>
#include <cerrno>
#include <immintrin.h>
#include <optional>
#include <sys/shm.h>

namespace {

using Attachment = SlotView::Attachment;

/// Tries before a slot counts as held, with a pause of 40 to 140 processor cycles between two.
constexpr int maxTries = 200;

/// What others write meanwhile. Loads come in the order in which they are written here.
template <class Word>
Word seen(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

std::uint32_t seenLockWord(const signalSlot_t& slot) {
    return static_cast<std::uint32_t>(seen(slot.mutex.__data.__lock));
}

Attachment attachmentOf(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return Attachment::NotPermitted;
    case EINVAL: // removed since it was found
    case EIDRM:
    case ENOENT:
        return Attachment::NoSegment;
    default:
        return Attachment::Failed;
    }
}

} // namespace

SlotView::SlotView(const std::string& instance) : instance(instance) {
    if (!keyfile::isPlainFileName(instance)) {
        errorNumber = ENOENT;
        return;
    }
    result = Attachment::NoKeyFile;
    const std::string path = keyfile::pathOf(instance);
    if (keyfile::isSymbolicLink(path)) {
        errorNumber = ELOOP;
        return;
    }
    segmentKey = keyfile::keyOf(path);
    if (segmentKey == -1) {
        errorNumber = errno;
        return;
    }
    const std::string owner = KeyClaim::ownerOf(segmentKey);
    if (!owner.empty() && owner != instance) {
        result = Attachment::OtherSignal;
        return;
    }
    segment = shmget(segmentKey, sizeof(signalSlot_t), 0);
    if (segment < 0) {
        errorNumber = errno;
        result = errorNumber == EINVAL ? Attachment::WrongSize : attachmentOf(errorNumber);
        return;
    }
    attach();
    if (slot != nullptr && !KeyClaim::proves(segmentKey, instance, segment) &&
        !keyfile::rivalOf(instance, segmentKey).empty()) {
        slot.reset();
        result = Attachment::OtherSignal;
    }
}

SlotView SlotView::ofSegment(int shmId) {
    SlotView view;
    view.segment = shmId;
    shmid_ds status{};
    if (shmctl(shmId, IPC_STAT, &status) != 0) {
        view.errorNumber = errno;
        view.result = attachmentOf(errno);
    } else if (status.shm_segsz < sizeof(signalSlot_t)) {
        view.result = Attachment::WrongSize;
    } else {
        view.segmentKey = status.shm_perm.__key;
        view.attach();
    }
    return view;
}

void SlotView::attach() {
    const void* const address = shmat(segment, nullptr, SHM_RDONLY);
    if (address == reinterpret_cast<void*>(-1)) {
        errorNumber = errno;
        result = attachmentOf(errorNumber);
        return;
    }
    slot.reset(static_cast<const signalSlot_t*>(address));
    result = Attachment::Attached;
}

void SlotView::Detach::operator()(const signalSlot_t* attached) const {
    shmdt(attached);
}

// Why the pair belongs together. Whoever writes does so while the lock word is not 0, and every x86-64
// processor sees the stores of another one in the order in which that one made them. Whoever writes while the
// value is loaded has begun after the first look at the lock word and ended before the second, so that the
// time stamp loaded last is his, or that of a later one, and differs from the one loaded first. If nobody
// does, both are that of the value, unless somebody wrote between the outer loads and the looks at the lock
// word: then they differ too.
//
// The one time stamp that comes again and again is 0: clearing leaves it. Between two clears a value may have
// been written, and loaded. So what has this time stamp, and is not what clearing leaves, counts only when
// another look finds the same.
SlotView::State SlotView::read(std::uint64_t& raw, std::uint64_t& timestamp) const {
    if (slot == nullptr) {
        return State::Uninitialised;
    }
    std::optional<std::uint64_t> seenAtZero;
    for (int tries = 0; tries < maxTries; ++tries) {
        const std::uint64_t before = seen(slot->timestamp);
        const bool wasFree = seenLockWord(*slot) == 0;
        const std::uint64_t value = seen(slot->raw);
        const bool valid = seen(slot->valid) != 0; // after the value: BaseSignal::clear() takes it away first
        const bool isInitialised = seen(slot->size) != 0;
        const bool isFree = seenLockWord(*slot) == 0;
        if (wasFree && isFree && seen(slot->timestamp) == before) {
            if (before == 0 && (valid || value != 0) && seenAtZero != value) {
                seenAtZero = value;
                continue;
            }
            raw = value;
            timestamp = before;
            return valid ? State::Value : isInitialised ? State::NoValue : State::Uninitialised;
        }
        _mm_pause();
    }
    return State::Held;
}

bool SlotView::isCurrent() const {
    if (slot == nullptr) {
        return false;
    }
    shmid_ds status{};
    return shmctl(segment, IPC_STAT, &status) == 0 && (status.shm_perm.mode & SHM_DEST) == 0 &&
           status.shm_perm.__key == segmentKey &&
           (instance.empty() || keyfile::keyOf(keyfile::pathOf(instance)) == segmentKey);
}

std::uint32_t SlotView::lockWord() const {
    return slot == nullptr ? 0 : seenLockWord(*slot);
}

std::string SlotView::name() const {
    return slot == nullptr ? std::string()
                           : std::string(slot->name, std::find(slot->name, std::end(slot->name), '\0'));
}

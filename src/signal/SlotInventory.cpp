#include "signal/SlotInventory.h"

#include "signal/KeyClaim.h"
#include "signal/KeyFile.h"
#include "signal/SlotLook.h"

#include <cerrno>
#include <iterator>
#include <map>
#include <optional>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace {

/// A segment that may be a slot.
struct Candidate {
    SlotRecord record;
    bool isProven = false;        ///< the claim of `record.instance` names it
    std::optional<SlotLook> look; ///< nothing if it may not be read, or is too small
    const ExpectedSlot* expected = nullptr;
};

Candidate candidateOf(int shmId, const shmid_ds& status) {
    Candidate candidate;
    SlotRecord& record = candidate.record;
    record.shmId = shmId;
    record.key = status.shm_perm.__key;
    record.size = status.shm_segsz;
    record.owner = status.shm_perm.uid;
    record.mode = status.shm_perm.mode & 0777;
    record.creator = status.shm_cpid;
    record.attached = status.shm_nattch;
    record.changed = status.shm_ctime;
    if ((status.shm_perm.mode & SHM_DEST) != 0) {
        record.faults.push_back(SlotFault::Removed);
    }
    return candidate;
}

/// All segments of the system, of whatever size.
std::vector<Candidate> allSegments() {
    std::vector<Candidate> segments;
    shm_info info{};
    const int last = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
    for (int index = 0; index <= last; ++index) {
        shmid_ds status{};
        int shmId = shmctl(index, SHM_STAT_ANY, &status);
        if (shmId < 0 && errno == EINVAL) { // no segment there, or a Linux before 4.17
            shmId = shmctl(index, SHM_STAT, &status);
        }
        if (shmId >= 0) {
            segments.push_back(candidateOf(shmId, status));
        }
    }
    return segments;
}

/// Tells whose the segments are: by the claim that names a segment, else by the only key file of its key.
void nameSegments(std::vector<Candidate>& segments) {
    std::unordered_map<std::string, std::string> instances;
    for (KeyClaim::Entry& claim : KeyClaim::all()) {
        instances.emplace(std::move(claim.segment), std::move(claim.instance));
    }
    const std::multimap<key_t, std::string> keyFiles = keyfile::instancesByKey();
    for (Candidate& segment : segments) {
        SlotRecord& record = segment.record;
        const auto claimed = instances.find(KeyClaim::segmentName(record.shmId, record.changed));
        segment.isProven = claimed != instances.end();
        if (segment.isProven) {
            record.instance = claimed->second;
        } else if (record.key != IPC_PRIVATE && keyFiles.count(record.key) == 1) {
            record.instance = keyFiles.find(record.key)->second;
        }
    }
}

void lookInto(Candidate& segment) {
    if (const SlotView view = SlotView::ofSegment(segment.record.shmId); view.isAttached()) {
        segment.look.emplace(view);
    }
}

/// Segments of other programs that have the size of a slot by chance are none.
bool looksLikeSlot(const Candidate& segment) {
    if (segment.isProven || segment.expected != nullptr) {
        return true;
    }
    if (segment.record.size != sizeof(signalSlot_t)) {
        return false;
    }
    const bool mayBeNew = !segment.record.instance.empty() && (!segment.look || segment.look->isBlank());
    return mayBeNew || (segment.look && segment.look->isInitialised());
}

/// Finds the segments of expected signals.
class ExpectedSegments {
  public:
    explicit ExpectedSegments(std::vector<Candidate>& segments) {
        for (Candidate& segment : segments) {
            byKey.emplace(segment.record.key, &segment);
            byInstance.emplace(segment.record.instance, &segment);
        }
    }

    /// Marks the segment. \return what to list where there is none
    std::optional<SlotRecord> find(const ExpectedSlot& expected) {
        SlotRecord record;
        record.instance = expected.instance;
        record.isExpected = true;
        if (!keyfile::isPlainFileName(expected.instance)) {
            record.faults = {SlotFault::UnusableName};
            return record;
        }
        record.key = keyfile::keyOf(keyfile::pathOf(expected.instance));
        record.other = ownerOf(record.key);
        if (!record.other.empty() && record.other != expected.instance) {
            record.faults = {SlotFault::KeyTaken};
            return record;
        }
        Candidate* const segment = segmentOf(expected.instance, record.key);
        if (segment == nullptr) {
            record.other.clear();
            record.faults = {SlotFault::Missing};
            return record;
        }
        segment->expected = &expected;
        segment->record.instance = expected.instance;
        segment->record.isExpected = true;
        return {};
    }

  private:
    /// The instance that a key is, or may be, of; empty if it is free.
    std::string ownerOf(key_t key) const {
        if (key == -1) {
            return {};
        }
        const auto found = byKey.find(key);
        const bool isKnown = found != byKey.end() && !found->second->record.instance.empty();
        return isKnown ? found->second->record.instance : KeyClaim::ownerOf(key);
    }
    Candidate* segmentOf(const std::string& instance, key_t key) {
        const auto withKey = byKey.find(key);
        if (key != -1 && withKey != byKey.end()) {
            return withKey->second;
        }
        const auto named = byInstance.find(instance); // its key file is gone, or another one
        return named == byInstance.end() ? nullptr : named->second;
    }

    std::unordered_map<key_t, Candidate*> byKey;
    std::unordered_map<std::string, Candidate*> byInstance;
};

void judgeKeyFile(SlotRecord& record) {
    if (record.instance.empty() || record.key == IPC_PRIVATE) {
        return;
    }
    const key_t key = keyfile::keyOf(keyfile::pathOf(record.instance));
    if (key != record.key) {
        record.faults.push_back(key == -1 ? SlotFault::KeyFileGone : SlotFault::KeyFileReplaced);
    }
}

void judgeContent(Candidate& segment) {
    if (!segment.look) {
        return;
    }
    SlotRecord& record = segment.record;
    const SlotLook& look = *segment.look;
    record.isReadable = true;
    record.signal = look.name;
    record.isValid = look.valid != 0;
    record.raw = look.raw;
    record.timestamp = look.timestamp;
    record.lockWord = look.lockWord;
    if (look.isBlank()) {
        record.faults.push_back(SlotFault::Uninitialised);
    } else if (!look.isInitialised() || !look.isDefaultMutex) {
        record.faults.push_back(SlotFault::Overwritten);
    } else if (segment.expected != nullptr &&
               look.name != segment.expected->signal.substr(0, sizeof(signalSlot_t::name) - 1)) {
        record.faults.push_back(SlotFault::OtherSignal);
        record.other = segment.expected->signal;
    }
}

SlotFault faultOf(LockHolder::State state) {
    return state == LockHolder::State::Gone     ? SlotFault::HolderGone
           : state == LockHolder::State::Exists ? SlotFault::HeldLong
                                                : SlotFault::HolderUnknown;
}

/// Watches locks that are held until they are let go, or have been held for longer than any operation takes.
class LockWatch {
  public:
    void add(Candidate& segment) {
        if (segment.look && segment.look->isDefaultMutex && segment.look->lockWord != 0) {
            held.push_back({&segment, SlotView::ofSegment(segment.record.shmId)});
        }
    }

    void run() {
        constexpr int polls = 200; // with the pause: a second
        constexpr timespec pause{.tv_sec = 0, .tv_nsec = 5'000'000};
        for (int poll = 0; poll < polls && !held.empty(); ++poll) {
            std::erase_if(held, [](const Held& each) { return isDecided(each); });
            if (!held.empty()) {
                nanosleep(&pause, nullptr);
            }
        }
        for (const Held& each : held) {
            conclude(*each.segment);
        }
    }

  private:
    struct Held {
        Candidate* segment;
        SlotView view;
    };

    /// Whether the lock was let go, if only for somebody else to take it, or never will be.
    static bool isDecided(const Held& each) {
        if (!each.view.isAttached()) {
            return true; // removed meanwhile
        }
        Candidate& segment = *each.segment;
        const LockHolder holder = LockHolder::of(*segment.look);
        const bool isGone = holder.isCertain && holder.state == LockHolder::State::Gone;
        const SlotLook now(each.view);
        if (!now.isHeldAs(*segment.look)) {
            segment.look = now;
            return true;
        }
        if (isGone) { // looked up before `now`, so it is the holder, not one who had the lock before
            conclude(segment);
        }
        return isGone;
    }

    static void conclude(Candidate& segment) {
        const LockHolder holder = LockHolder::of(*segment.look);
        segment.record.holder = holder.thread;
        segment.record.faults.push_back(faultOf(holder.state));
    }

    std::vector<Held> held;
};

/// What does not depend on the content.
void judgeSegment(Candidate& segment) {
    SlotRecord& record = segment.record;
    if (record.size != sizeof(signalSlot_t)) {
        record.faults.push_back(SlotFault::WrongSize);
    }
    if (record.attached == 0 && !record.isExpected) {
        record.faults.push_back(SlotFault::LeftOver);
    }
    judgeKeyFile(record);
}

} // namespace

SlotInventory::SlotInventory(std::span<const ExpectedSlot> expected) {
    std::vector<Candidate> segments = allSegments();
    nameSegments(segments);
    ExpectedSegments search(segments);
    for (const ExpectedSlot& signal : expected) {
        if (std::optional<SlotRecord> record = search.find(signal)) {
            records.push_back(std::move(*record));
        }
    }
    LockWatch watch;
    for (Candidate& segment : segments) {
        lookInto(segment);
    }
    std::erase_if(segments, [](const Candidate& segment) { return !looksLikeSlot(segment); });
    for (Candidate& segment : segments) {
        watch.add(segment);
    }
    watch.run();
    for (Candidate& segment : segments) {
        judgeSegment(segment);
        judgeContent(segment);
        std::sort(segment.record.faults.begin(), segment.record.faults.end());
        records.push_back(std::move(segment.record));
    }
    std::sort(records.begin(), records.end(), [](const SlotRecord& left, const SlotRecord& right) {
        return std::tie(left.instance, left.shmId) < std::tie(right.instance, right.shmId);
    });
}

/// \file
/// What the inventory says is wrong with slots, and how it is mended.
#include "signal/SharedMemoryTest.h"

#include "signal/SlotInventory.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>

namespace {

class SlotInventoryOf : public SharedMemoryTest {
  protected:
    void SetUp() override {
        SharedMemoryTest::SetUp();
        BaseSignal::detachOnly = true;
    }
    void TearDown() override {
        signals.clear();
        SharedMemoryTest::TearDown();
    }

    /// A slot of a signal of this process.
    BaseSignal& shared(const std::string& name) {
        return *signals.emplace_back(std::make_unique<BaseSignal>(definition(name), true));
    }

    /// The records of an instance, of all slots and of what is expected.
    static std::vector<SlotRecord> recordsOf(const std::string& instance,
                                             const std::vector<ExpectedSlot>& expected = {}) {
        std::vector<SlotRecord> records;
        const SlotInventory inventory(expected);
        for (const SlotRecord& slot : inventory.slots())
            if (slot.instance == instance)
                records.push_back(slot);
        return records;
    }
    static SlotRecord recordOf(const std::string& instance) { return recordsOf(instance).at(0); }

    /// Has a process take a lock by `take` and die.
    static void dieWith(const std::function<void()>& take) {
        const pid_t process = fork();
        if (process == 0) {
            take();
            kill(getpid(), SIGKILL);
        }
        waitpid(process, nullptr, 0);
    }

    std::vector<std::unique_ptr<BaseSignal>> signals;
};

TEST_F(SlotInventoryOf, EverySortOfSlot) {
    using F = SlotFault;
    const auto name = [this](const std::string& text) { return definition(text).instance; };
    const auto keyFile = [&name](const std::string& text) {
        std::string instance = name(text);
        makeKeyFile(instance);
        return instance;
    };
    const auto segment = [&keyFile](const std::string& text, std::size_t size) {
        std::string instance = keyFile(text);
        EXPECT_GE(shmget(keyOf(instance), size, IPC_CREAT | 0666), 0);
        return instance;
    };
    const auto instanceOf = [](BaseSignal& signal) { return signal.def.instance; };
    BaseSignal &kind = shared("kind"), &size = shared("size"), &gone = shared("gone"),
               &replaced = shared("replaced"), &removed = shared("removed"), &first = shared("first");
    kind.slot->mutex.__data.__kind = 2;
    size.slot->size = 103;
    unlink(("/tmp/" + instanceOf(gone)).c_str());
    std::rename(("/tmp/" + keyFile("new")).c_str(), ("/tmp/" + instanceOf(replaced)).c_str());
    shmctl(removed.shmId, IPC_RMID, nullptr);
    const std::string second = name("second");
    std::filesystem::create_hard_link("/tmp/" + instanceOf(first), "/tmp/" + second);
    const std::string left = instanceOf(shared("left")), wanted = instanceOf(shared("wanted"));
    signals.pop_back();
    signals.pop_back();
    const std::tuple<std::string, bool, std::vector<SlotFault>> rows[] = {
        // instance, expected, what is wrong
        {instanceOf(shared("fine")), false, {}},
        {instanceOf(shared("fine too")), true, {}},
        {keyFile("never"), true, {F::Missing}},
        {"folder/name", true, {F::UnusableName}},
        {second, true, {F::KeyTaken}},
        {segment("small", 50), true, {F::WrongSize}},
        {segment("large", 200), true, {F::WrongSize, F::Uninitialised}},
        {instanceOf(first), true, {F::OtherSignal}},
        {segment("blank", 104), false, {F::Uninitialised, F::LeftOver}},
        {instanceOf(kind), false, {F::Overwritten}},
        {instanceOf(size), false, {F::Overwritten}},
        {instanceOf(gone), true, {F::KeyFileGone}},
        {instanceOf(replaced), false, {F::KeyFileReplaced}},
        {instanceOf(removed), false, {F::Removed}},
        {left, false, {F::LeftOver}},
        {wanted, true, {}},
    };
    std::vector<ExpectedSlot> expected;
    for (const auto& [instance, isExpected, faults] : rows)
        if (isExpected)
            expected.push_back({instance, instance == instanceOf(first) ? "another" : "Signal"});
    for (const auto& [instance, isExpected, faults] : rows) {
        SCOPED_TRACE(instance);
        const std::vector<SlotRecord> records = recordsOf(instance, expected);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].faults, faults);
        EXPECT_EQ(records[0].isExpected, isExpected);
    }
    EXPECT_EQ(recordsOf(second, expected)[0].other, instanceOf(first));
}

TEST_F(SlotInventoryOf, SegmentsOfOtherProgramsAreNone) {
    const int other = shmget(IPC_PRIVATE, sizeof(signalSlot_t), IPC_CREAT | 0600);
    std::memset(shmat(other, nullptr, 0), 1, sizeof(signalSlot_t));
    shmctl(other, IPC_RMID, nullptr); // stays until the process ends, as it is attached
    const SlotInventory inventory;
    for (const SlotRecord& slot : inventory.slots())
        EXPECT_NE(slot.shmId, other);
}

TEST_F(SlotInventoryOf, LocksOfTheDeadAreReleased) {
    const auto own = [](BaseSignal& signal) { slotmutex::tryLock(signal.slot->mutex); };
    const auto ofTheCLibrary = [](BaseSignal& signal) { pthread_mutex_lock(&signal.slot->mutex); };
    const auto forged = [](BaseSignal& signal) { signal.slot->mutex.__data.__lock = 1; };
    const std::tuple<std::string, std::function<void(BaseSignal&)>, SlotFault> rows[] = {
        {"own", own, SlotFault::HolderGone},
        {"C library", ofTheCLibrary, SlotFault::HolderGone},
        {"forged", forged, SlotFault::HolderUnknown},
    };
    for (const auto& [name, take, fault] : rows) {
        SCOPED_TRACE(name);
        BaseSignal& signal = shared(name);
        signal.writeRaw(7, 8);
        dieWith([&signal, &take = take] { take(signal); });
        const SlotRecord slot = recordOf(signal.def.instance);
        EXPECT_EQ(slot.faults, std::vector{fault});
        EXPECT_EQ(SlotInventory::release(slot), 0);
        EXPECT_EQ(SlotInventory::release(slot), EBUSY);
        EXPECT_EQ(rawText(signal), "invalid");
        EXPECT_EQ(recordOf(signal.def.instance).faults, std::vector<SlotFault>());
    }
}

TEST_F(SlotInventoryOf, LocksOfTheLivingAreNot) {
    BaseSignal& signal = shared("S");
    signal.writeRaw(7, 8);
    pthread_mutex_lock(&signal.slot->mutex);
    SlotRecord slot = recordOf(signal.def.instance);
    EXPECT_EQ(slot.faults, std::vector{SlotFault::HeldLong});
    EXPECT_EQ(slot.holder, getpid());
    EXPECT_EQ(SlotInventory::release(slot), EBUSY);
    pthread_mutex_unlock(&signal.slot->mutex);
    EXPECT_EQ(rawText(signal), "7");
}

TEST_F(SlotInventoryOf, LeftoversAreRemovedWithTheirFiles) {
    const std::string instance = shared("S").def.instance;
    signals.clear();
    const SlotRecord slot = recordOf(instance);
    const key_t key = slot.key;
    shared("S"); // somebody has started meanwhile
    EXPECT_EQ(SlotInventory::remove(slot), EBUSY);
    signals.clear();
    const int folder = open("/tmp", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(flock(folder, LOCK_EX), 0); // somebody starts, and takes long
    EXPECT_EQ(SlotInventory::remove(slot), EAGAIN);
    close(folder);
    EXPECT_EQ(segmentOf(instance), slot.shmId);
    EXPECT_EQ(SlotInventory::remove(slot), 0);
    EXPECT_EQ(shmget(key, 0, 0), -1);
    EXPECT_FALSE(std::filesystem::exists("/tmp/" + instance));
    EXPECT_FALSE(std::filesystem::is_symlink(claimFile(key)));
    EXPECT_EQ(SlotInventory::remove(slot), EINVAL);
}

} // namespace

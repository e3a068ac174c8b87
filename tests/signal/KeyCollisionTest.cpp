/// \file
/// Signals never share a segment unknowingly, although keys keep only 16 bits of a key file's inode number.
#include "signal/SharedMemoryTest.h"

#include <filesystem>
#include <memory>
#include <set>
#include <sys/shm.h>

namespace {

/// How many more segments the system takes.
long freeSegments() {
    shminfo limits{};
    shm_info inUse{};
    shmctl(0, IPC_INFO, reinterpret_cast<shmid_ds*>(&limits));
    shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&inUse));
    return static_cast<long>(limits.shmmni) - inUse.used_ids;
}

class KeyCollisions : public SharedMemoryTest {
  protected:
    /// Makes one key file with two names, so that both have its key.
    void SetUp() override {
        SharedMemoryTest::SetUp();
        writeFile(keyFile(winner.instance), "");
        std::filesystem::create_hard_link(keyFile(winner.instance), keyFile(loser.instance));
    }

    const baseSignalDef_t winner = definition("winner"), loser = definition("loser", "Loser");
    CapturedOutput output;
};

TEST_F(KeyCollisions, ThousandsOfSignalsKeepTheirValues) {
    constexpr std::size_t count = underThreadSanitizer ? 1'000 : 4'000;
    if (freeSegments() < static_cast<long>(count))
        GTEST_SKIP() << "the system takes only " << freeSegments() << " more segments (kernel.shmmni)";
    std::vector<baseSignalDef_t> definitions;
    for (std::size_t i = 0; i < count; ++i)
        definitions.push_back(definition("many-" + std::to_string(i)));
    std::vector<std::unique_ptr<BaseSignal>> signals; // of either process
    const auto countWrong = [&](auto expected) {
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < count; ++i)
            wrong += rawText(*signals[i]) != std::to_string(expected(i)) ? 1 : 0;
        return wrong;
    };
    const auto build = [&] {
        std::size_t created = 0;
        for (const baseSignalDef_t& def : definitions)
            created += signals.emplace_back(std::make_unique<BaseSignal>(def, true))->initSmData ? 1 : 0;
        return created;
    };
    const auto number = [](std::size_t i) { return i; };
    const auto other = [](std::size_t i) { return 2 * count - i; };
    Peer peer({[&] { return std::to_string(build()); },
               [&] {
                   const std::size_t wrong = countWrong(number);
                   for (std::size_t i = 0; i < count; ++i)
                       signals[i]->writeRaw(other(i), i);
                   return std::to_string(wrong);
               }});

    EXPECT_EQ(build(), count);
    std::set<int> segments;
    for (std::size_t i = 0; i < count; ++i) {
        signals[i]->writeRaw(number(i), i);
        segments.insert(signals[i]->shmId);
    }
    EXPECT_EQ(segments.size(), count);
    EXPECT_FALSE(segments.contains(-1));
    EXPECT_EQ(countWrong(number), 0U);
    EXPECT_EQ(peer.step(), "0") << "created, not found, by the other process";
    EXPECT_EQ(peer.step(), "0") << "wrong values in the other process";
    EXPECT_EQ(countWrong(other), 0U);
    EXPECT_EQ(output.err.text(), "");
}

TEST_F(KeyCollisions, UnavoidableCollisionIsReportedAndFallsBack) {
    auto first = std::make_unique<BaseSignal>(winner, true);
    first->writeRaw(1, 1);
    output.out.take();
    {
        BaseSignal second(loser, true);
        const std::string text = output.out.take() + output.err.take();
        const std::string head = "[ERROR] BaseSignal::createSharedMemory() " + loser.instance + ": ";
        EXPECT_EQ(text.substr(0, head.size()), head);
        EXPECT_NE(text.find(winner.instance), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line";
        EXPECT_TRUE(second.shmem);
        EXPECT_EQ(second.shmId, -1);
        EXPECT_EQ(second.slot, &second.privateSlot);
        EXPECT_STREQ(second.slot->name, "Loser");
        EXPECT_EQ(second.slot->raw, 0xaaaaaaaaU);
        second.writeRaw(2, 2);
        EXPECT_EQ(rawText(*first), "1");
        EXPECT_EQ(rawText(second), "2");
    }
    EXPECT_EQ(segmentOf(first->key), first->shmId);
    EXPECT_EQ(attachments(first->shmId), 1U);
    EXPECT_EQ(output.out.take() + output.err.take(), "");

    // Once nobody uses it, the key belongs to whoever comes next.
    first.reset();
    output.out.take();
    const BaseSignal next(loser, true);
    EXPECT_EQ(output.out.take(), createdLine(next));
}

TEST_F(KeyCollisions, KeyStaysTakenUntilItsLastUserLetsGo) {
    SignalStorage other;
    BaseSignal::detachOnly = true;
    auto first = std::make_unique<BaseSignal>(winner, true);
    auto second = std::make_unique<BaseSignal>(winner, true, &other);
    const int shmId = second->shmId;
    first.reset();
    EXPECT_EQ(BaseSignal(loser, true).shmId, -1);
    second.reset();
    EXPECT_EQ(BaseSignal(loser, true).shmId, shmId);
}

TEST_F(KeyCollisions, NewKeyFileAvoidsKeysInUse) {
    // A new file is expected to have the inode number of one just removed, or one of the next.
    const std::string probe = instance("probe"), control = instance("control");
    writeFile(keyFile(probe), "");
    const auto base = static_cast<unsigned>(keyOf(probe));
    std::set<key_t> taken;
    std::vector<int> segments;
    for (unsigned i = 0; i < 24; ++i) {
        const auto key = static_cast<key_t>((base & 0xFFFF0000) | ((base + i) & 0xFFFF));
        taken.insert(key);
        segments.push_back(shmget(key, 104, IPC_CREAT | IPC_EXCL | 0666));
    }
    std::filesystem::remove(keyFile(probe));
    writeFile(keyFile(control), "");
    const bool foreseen = taken.contains(keyOf(control));
    std::filesystem::remove(keyFile(control));
    {
        const BaseSignal signal(definition("S"), true);
        EXPECT_EQ(output.out.take() + output.err.take(), createdLine(signal));
        EXPECT_FALSE(taken.contains(signal.key));
        EXPECT_EQ(signal.key, keyOf(signal.def.instance));
        EXPECT_EQ(attachments(signal.shmId), 1U);
        EXPECT_EQ(std::filesystem::hard_link_count(keyFile(signal.def.instance)), 1U);
    }
    for (const int segment : segments)
        shmctl(segment, IPC_RMID, nullptr);
    if (!foreseen && !HasFailure())
        GTEST_SKIP() << "this file system's inode numbers cannot be foreseen";
}

} // namespace

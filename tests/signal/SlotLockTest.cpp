/// \file
/// The lock of shared slots: contention, failure, and values that are never torn.
#include "signal/SharedMemoryTest.h"

#include "rkutil/LogUtil.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace {

class SlotLock : public SharedMemoryTest {
  protected:
    /// What the signals of all threads have printed.
    std::string printed() const {
        const std::lock_guard guard(LogUtil::logMutex);
        return output.out.text();
    }

    const baseSignalDef_t def = definition("S");
    const std::string retry = "[DEBUG] BaseSignal::lock() mutex trylock(" + def.instance + "): retrying\n";
    CapturedOutput output;
};

TEST_F(SlotLock, WaitsForAnotherProcessByTryingAgain) {
    std::optional<BaseSignal> theirs;
    Peer holder({[&] {
                     theirs.emplace(def, true);
                     return std::to_string(pthread_mutex_trylock(&theirs->slot->mutex));
                 },
                 [&] {
                     theirs->slot->raw = 77; // changed under the lock
                     return std::to_string(pthread_mutex_unlock(&theirs->slot->mutex));
                 }});
    BaseSignal signal(def, true);
    signal.writeRaw(1, 1);
    ASSERT_EQ(holder.step(), "0");
    output.out.take();

    BaseSignal::debug = 1;
    std::atomic<bool> done = false;
    std::thread release([&] {
        while (!done && printed().find(retry + retry) == std::string::npos)
            std::this_thread::yield();
        holder.step();
    });
    unsigned long raw = 0, timestamp = 0;
    EXPECT_TRUE(signal.read(raw, timestamp));
    done = true;
    release.join();
    BaseSignal::debug = 0;
    EXPECT_EQ(raw, 77U);

    std::string text = output.out.take();
    while (text.rfind(retry, 0) == 0)
        text.erase(0, retry.size());
    EXPECT_EQ(text, "[DEBUG] BaseSignal::read() instance=" + def.instance +
                        ",signal=Signal,shmem=true,valid=true,value=77 (0x4d),"
                        "timestamp=1970-01-01 00:00:00.000000001 (0x1)\n");
    EXPECT_EQ(output.err.text(), "");
}

TEST_F(SlotLock, ReadsAndWritesWaitAndNothingElse) {
    BaseSignal signal(def, true);
    unsigned long raw = 0, timestamp = 0;
    double value = 0;
    const unsigned char data[] = {1};
    const struct {
        const char* name;
        bool waits;
        std::function<void()> operation;
    } rows[] = {
        {"write", true, [&] { signal.write(1UL, 1UL); }},
        {"write bytes", true, [&] { signal.write(data, 1, 1); }},
        {"writeRaw", true, [&] { signal.writeRaw(1, 1); }},
        {"writeTS", true, [&] { signal.writeTS(1); }},
        {"read raw", true, [&] { signal.read(raw, timestamp); }},
        {"read value", true, [&] { signal.read(value, timestamp); }},
        {"clear", false, [&] { signal.clear(); }},
        {"decode", false, [&] { signal.decode(1); }},
        {"physical", false, [&] { signal.physical(); }},
        {"isModified", false, [&] { signal.isModified(); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        output.out.take();
        BaseSignal::debug = 1;
        ASSERT_EQ(pthread_mutex_trylock(&signal.slot->mutex), 0);
        std::atomic<bool> done = false;
        std::thread operation([&] {
            row.operation();
            done = true;
        });
        while (!done && printed().find(retry) == std::string::npos)
            std::this_thread::yield();
        EXPECT_EQ(!done, row.waits);
        pthread_mutex_unlock(&signal.slot->mutex);
        operation.join();
        BaseSignal::debug = 0;
        EXPECT_EQ(pthread_mutex_trylock(&signal.slot->mutex), 0) << "unlocked afterwards";
        pthread_mutex_unlock(&signal.slot->mutex);
    }
}

TEST_F(SlotLock, FailureIsReportedAndTheOperationGoesOn) {
    if (underThreadSanitizer)
        GTEST_SKIP() << "the thread sanitizer objects to the unlock without a lock, which is meant";
    BaseSignal shared(def, true), fallenBack(byteDefinition("a/b"), true), plain(byteDefinition("plain"));
    const auto refused = [](const std::string& instance) {
        return "[ERROR] BaseSignal::lock() mutex trylock(" + instance +
               "): Invalid argument\n[ERROR] BaseSignal::unlock() mutex unlock(" + instance +
               "): Invalid argument\n";
    };
    const struct {
        BaseSignal& signal;
        std::string lines;
    } rows[] = {{shared, refused(def.instance)}, {fallenBack, refused("a/b")}, {plain, ""}};
    for (const auto& row : rows) {
        output.out.take();
        output.err.take();
        row.signal.slot->mutex.__data.__kind = 0x7f; // no mutex is of this kind: lock and unlock refuse it
        row.signal.writeRaw(3, 4);
        EXPECT_EQ(output.err.take(), row.lines);
        EXPECT_TRUE(output.err.isFlushed());
        EXPECT_EQ(rawText(row.signal), "3");
        EXPECT_EQ(output.err.take(), row.lines);
        EXPECT_EQ(output.out.take(), "");
    }
}

/// The time stamp that belongs to a raw value.
constexpr unsigned long stampOf(unsigned long raw) {
    return raw * 0x9E3779B97F4A7C15 + 1;
}

TEST_F(SlotLock, NoTornPairBetweenFourProcesses) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(3);
    const auto writer = [this, end](unsigned long first, bool asPayload) {
        return Peer::Step([this, end, first, asPayload] {
            BaseSignal signal(def, true);
            unsigned long raw = first;
            for (; Clock::now() < end; raw += 2)
                asPayload ? signal.write(raw, stampOf(raw)) : signal.writeRaw(raw, stampOf(raw));
            return std::string(raw > 100 ? "many" : "few");
        });
    };
    const auto reader = [this, end](bool asValue) {
        return Peer::Step([this, end, asValue] {
            BaseSignal signal(def, true);
            unsigned long torn = 0, changes = 0, last = 0;
            while (Clock::now() < end) {
                unsigned long raw = 0, timestamp = 0;
                double value = 0;
                const bool valid = asValue ? signal.read(value, timestamp) : signal.read(raw, timestamp);
                raw = asValue ? static_cast<unsigned long>(value) : raw;
                torn += valid && timestamp == stampOf(raw) ? 0 : 1;
                changes += raw != last ? 1 : 0;
                last = raw;
            }
            return std::to_string(torn) + (changes > 10 ? " torn of many" : " torn of few");
        });
    };

    BaseSignal::detachOnly = true;
    Peer peers[] = {Peer({writer(2, true)}), Peer({writer(1, false)}), Peer({reader(false)}),
                    Peer({reader(true)})};
    BaseSignal signal(def, true);
    signal.writeRaw(0, stampOf(0));
    std::string answers[4];
    std::vector<std::thread> waits;
    for (std::size_t i = 0; i < 4; ++i)
        waits.emplace_back([&answers, &peers, i] { answers[i] = peers[i].step(); });
    for (std::thread& wait : waits)
        wait.join();
    EXPECT_EQ(answers[0], "many");
    EXPECT_EQ(answers[1], "many");
    EXPECT_EQ(answers[2], "0 torn of many");
    EXPECT_EQ(answers[3], "0 torn of many");
}

} // namespace

/// \file
/// Processes that die, and that start, at any moment: nobody reads a pair that was not written, and everybody
/// goes on.
#include "signal/SharedMemoryTest.h"
#include "signal/SlotView.h"

#include "rkutil/LogUtil.h"
#include "support/Latencies.h"

#include <array>
#include <atomic>
#include <bit>
#include <csignal>
#include <cstddef>
#include <memory>
#include <random>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool isInstrumented = true;
#elif defined(__has_feature)
constexpr bool isInstrumented = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool isInstrumented = false;
#endif

/// What all writers of these tests write: a time stamp that never comes again, and the one value that belongs
/// to it.
unsigned long valueAt(unsigned long timestamp) {
    return timestamp * 0x9E3779B97F4A7C15 + 1;
}

/// A record that forked processes share.
template <class Record>
Record& shared() {
    void* const memory =
        mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) Record; // for good
}

class Kill : public SharedMemoryTest {
  protected:
    void SetUp() override {
        SharedMemoryTest::SetUp();
        BaseSignal::detachOnly = true;
    }
    void TearDown() override {
        LogUtil::setReceiver({});
        SharedMemoryTest::TearDown();
    }
};

using SlotBytes = std::array<std::byte, sizeof(signalSlot_t)>;

/// What a slot holds after the instructions of an operation, each content once, carried out by a process that
/// is dead by now: all that it would have left if it had been killed there. Empty where processes may not be
/// traced.
std::vector<SlotBytes> afterEachInstruction(const std::function<void()>& operation,
                                            const signalSlot_t& slot) {
    auto& isOver = shared<std::atomic<bool>>();
    const pid_t process = fork();
    if (process == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(1);
        raise(SIGSTOP);
        operation();
        isOver = true;
        pause();
    }
    std::vector<SlotBytes> contents;
    int status = 0;
    waitpid(process, &status, 0);
    while (WIFSTOPPED(status) && !isOver) {
        const auto content = std::bit_cast<SlotBytes>(slot);
        if (contents.empty() || contents.back() != content)
            contents.push_back(content);
        ptrace(PTRACE_SINGLESTEP, process, nullptr, nullptr);
        waitpid(process, &status, 0);
    }
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    return contents;
}

TEST_F(Kill, AfterEachInstructionOfAnOperation) {
    int locked = 0, lines = 0;
    BaseSignal signal(definition("S"), true);
    LogUtil::setReceiver(
        [&](LogLevel level, std::string_view) { lines += level == LogLevel::Error ? 1 : 0; });
    unsigned long raw = 0, timestamp = 0;
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"old new none ", [&] { signal.writeRaw(valueAt(2), 2); }},
        {"old new none ", [&] { signal.write(valueAt(2), 2); }},
        {"old none ", [&] { signal.read(raw, timestamp); }},
        {"old none ", [&] { signal.invalidate(); }},
    };
    for (const auto& [expected, operation] : operations) {
        std::map<std::string, int> seen;
        operation(); // binds what it calls
        signal.writeRaw(valueAt(1), 1);
        const std::vector<SlotBytes> contents = afterEachInstruction(operation, *signal.slot);
        if (contents.empty())
            GTEST_SKIP() << "processes may not be traced here";
        for (const SlotBytes& content : contents) {
            *signal.slot = std::bit_cast<signalSlot_t>(content);
            locked += signal.slot->mutex.__data.__lock != 0 ? 1 : 0;
            const bool valid = signal.read(raw, timestamp);
            EXPECT_EQ(raw, valid ? valueAt(timestamp) : 0) << &content - contents.data();
            ++seen[!valid ? "none" : timestamp == 1 ? "old" : "new"];
        }
        std::string outcomes;
        for (const char* outcome : {"old", "new", "none"})
            outcomes += seen[outcome] != 0 ? std::string(outcome) + " " : "";
        EXPECT_EQ(outcomes, expected);
    }
    EXPECT_EQ(lines, locked); // each of these locks was released, and that was said
}

/// What the processes of the test below have come to.
struct Tally {
    static constexpr std::size_t slots = 3, victims = slots + 1;

    std::array<std::atomic<unsigned>, victims> steps{}; ///< of the victim that runs now
    std::atomic<unsigned> wrong = 0, rescued = 0, reads = 0, views = 0, held = 0;
    std::atomic<bool> isOver = false;
};

class Crowd {
  public:
    Crowd(Tally& tally, std::vector<baseSignalDef_t> definitions)
        : tally(tally), definitions(std::move(definitions)) {}

    /// Runs `work` in a new process.
    template <class Work>
    pid_t start(Work work) {
        const pid_t process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            LogUtil::setReceiver([this](LogLevel, std::string_view text) {
                tally.rescued += text.find("died while it held the lock") != std::string_view::npos ? 1 : 0;
            });
            work();
            _exit(0);
        }
        return process;
    }

    /// A writer of one slot, or a reader of all, that goes on until it is killed.
    pid_t startVictim(std::size_t number) {
        tally.steps[number] = 0;
        return start([this, number] {
            if (number < Tally::slots)
                write(number);
            else
                read(number);
        });
    }

    void write(std::size_t number) {
        BaseSignal signal(definitions[number], true);
        for (unsigned long step = 0;; ++step) {
            const unsigned long timestamp = clockTime();
            signal.writeRaw(valueAt(timestamp), timestamp);
            if (step % 16 == 0)
                signal.invalidate();
            ++tally.steps[number];
        }
    }

    void read(std::size_t number) {
        std::vector<std::unique_ptr<BaseSignal>> signals;
        for (const baseSignalDef_t& def : definitions)
            signals.push_back(std::make_unique<BaseSignal>(def, true));
        while (!tally.isOver) {
            for (const auto& signal : signals) {
                unsigned long raw = 0, timestamp = 0;
                const bool valid = signal->read(raw, timestamp);
                check(valid, raw, timestamp);
                ++tally.reads;
            }
            if (number < Tally::victims)
                ++tally.steps[number];
            else
                usleep(20);
        }
    }

    void look() {
        std::vector<SlotView> views;
        for (const baseSignalDef_t& def : definitions)
            views.emplace_back(def.instance);
        for (; !tally.isOver; usleep(20))
            for (const SlotView& view : views) {
                std::uint64_t raw = 0, timestamp = 0;
                const auto state = view.read(raw, timestamp);
                tally.held += state == SlotView::State::Held ? 1 : 0;
                if (state != SlotView::State::Held)
                    check(state == SlotView::State::Value, raw, timestamp);
                ++tally.views;
            }
    }

  private:
    void check(bool valid, unsigned long raw, unsigned long timestamp) {
        const bool isUnwritten =
            raw == signalSlot_t::unwrittenRaw && timestamp == signalSlot_t::unwrittenTimestamp;
        if (valid ? raw != valueAt(timestamp) : raw + timestamp != 0 && !isUnwritten)
            ++tally.wrong;
    }

    Tally& tally;
    const std::vector<baseSignalDef_t> definitions;
};

TEST_F(Kill, ThousandsOfProcessesAtRandomMoments) {
    constexpr int kills = isInstrumented ? 200 : 2'000;
    std::vector<baseSignalDef_t> definitions;
    std::vector<std::unique_ptr<BaseSignal>> owners;
    for (std::size_t i = 0; i < Tally::slots; ++i)
        owners.push_back(
            std::make_unique<BaseSignal>(definitions.emplace_back(definition(std::to_string(i))), true));
    auto& tally = shared<Tally>();
    Crowd crowd(tally, definitions);
    const pid_t witnesses[] = {crowd.start([&] { crowd.read(Tally::victims); }),
                               crowd.start([&] { crowd.look(); })};
    std::array<pid_t, Tally::victims> victims{};
    for (std::size_t i = 0; i < victims.size(); ++i)
        victims[i] = crowd.startVictim(i);
    std::mt19937 random(16); // the kills come at random all the same
    std::array<unsigned, Tally::victims> lifetimes{};
    for (int killed = 0; killed < kills;) {
        for (std::size_t i = 0; i < victims.size(); ++i) {
            if (tally.steps[i] <= lifetimes[i])
                continue; // it has not come far enough, or waits for the lock of one that was killed
            kill(victims[i], SIGKILL);
            waitpid(victims[i], nullptr, 0);
            victims[i] = crowd.startVictim(i);
            lifetimes[i] = static_cast<unsigned>(random() % 500);
            ++killed;
        }
        usleep(20);
    }
    tally.isOver = true;
    for (const pid_t process : victims)
        kill(process, SIGKILL);
    for (const pid_t process : victims)
        waitpid(process, nullptr, 0);
    for (const pid_t process : witnesses) {
        int status = -1;
        waitpid(process, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(tally.wrong, 0U);
    EXPECT_GT(tally.rescued, kills / 100U);
    for (const auto& owner : owners) { // all slots work
        owner->writeRaw(1, 2);
        EXPECT_EQ(rawText(*owner), "1");
    }
    RecordProperty("rescued", std::to_string(tally.rescued));
    RecordProperty("reads", std::to_string(tally.reads));
    RecordProperty("views", std::to_string(tally.views) + " of which held " + std::to_string(tally.held));
}

/// Two processes that wait for each other.
struct Meeting {
    std::atomic<int> arrivals = 0;

    void wait() {
        const int round = arrivals++ / 2;
        while (arrivals / 2 == round)
            sched_yield();
    }
};

TEST_F(Kill, OfTwoThatStartAtOnceNobodyLosesAValue) {
    constexpr unsigned long rounds = isInstrumented ? 200 : 2'000;
    const baseSignalDef_t definitions[] = {definition("S"), definition("T")};
    auto& meeting = shared<Meeting>();
    /// Builds both signals, writes one of them and reads the other, again and again.
    const auto run = [&](std::size_t own) {
        unsigned long lost = 0;
        for (unsigned long round = 1; round <= rounds; ++round) {
            meeting.wait();
            BaseSignal written(definitions[own], true);
            written.writeRaw(round, round);
            BaseSignal other(definitions[1 - own], true);
            meeting.wait();
            lost += rawText(other) != std::to_string(round) ? 1 : 0;
            output.take();
            meeting.wait();
            shmctl(written.shmId, IPC_RMID, nullptr);
            if (round % 4 == own) // the next ones make a new key file
                std::filesystem::remove("/tmp/" + definitions[own].instance);
        }
        return std::to_string(lost) + " lost" + output.err.take();
    };
    const Peer first({[&] { return run(0); }}), second({[&] { return run(1); }});
    first.begin();
    second.begin();
    EXPECT_EQ(first.answer(), "0 lost");
    EXPECT_EQ(second.answer(), "0 lost");
}

} // namespace

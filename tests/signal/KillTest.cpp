/// \file
/// Processes that die, and that start, at any moment: nobody reads a pair that was not written, and everybody
/// goes on.
#include "signal/SharedMemoryTest.h"
#include "signal/SlotView.h"

#include "rkutil/LogUtil.h"

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <memory>
#include <random>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>

namespace {

/// What all writers of these tests write: a time stamp that never comes again, and the one value that belongs
/// to it.
unsigned long valueAt(unsigned long timestamp) {
    return timestamp * 0x9E3779B97F4A7C15 + 1;
}
unsigned long newStamp() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long>(now.tv_sec) * 1'000'000'000 + static_cast<unsigned long>(now.tv_nsec);
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
};

/// Kills a process that carries out an operation after some of its instructions.
void killAfter(int instructions, const std::function<void()>& operation, std::atomic<bool>& isOver) {
    const pid_t process = fork();
    if (process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        operation();
        isOver = true;
        pause();
    }
    int status = 0;
    waitpid(process, &status, 0);
    for (int i = 0; i < instructions && !isOver && WIFSTOPPED(status); ++i) {
        ptrace(PTRACE_SINGLESTEP, process, nullptr, nullptr);
        waitpid(process, &status, 0);
    }
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

TEST_F(Kill, AfterEachInstructionOfAnOperation) {
    BaseSignal signal(definition("S"), true);
    auto& isOver = shared<std::atomic<bool>>();
    int lines = 0;
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
        isOver = false;
        for (int instructions = 0; !isOver; ++instructions) {
            operation(); // binds what it calls
            signal.writeRaw(valueAt(1), 1);
            killAfter(instructions, operation, isOver);
            const bool valid = signal.read(raw, timestamp);
            EXPECT_EQ(raw, valid ? valueAt(timestamp) : 0) << instructions;
            ++seen[!valid ? "none" : timestamp == 1 ? "old" : "new"];
        }
        std::string outcomes;
        for (const char* outcome : {"old", "new", "none"})
            outcomes += seen[outcome] != 0 ? std::string(outcome) + " " : "";
        EXPECT_EQ(outcomes, expected);
    }
    LogUtil::setReceiver({});
    EXPECT_GT(lines, 20);
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
            const unsigned long timestamp = newStamp();
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
    constexpr int kills = 2'000;
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
    constexpr unsigned long rounds = 2'000;
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

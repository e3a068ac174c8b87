// soak [--seconds N]: a writer that decodes 20,000 frames a second into 2,000 shared signals and evaluates
// triggers, four readers, and processes that come and go or are killed meanwhile. Prints what happened. Exit
// status: 0 all is well, 1 not, 77 this system has no room for the segments.

#include "reliability/SoakProcesses.h"

#include "signal/SlotView.h"
#include "support/SegmentRoom.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <random>
#include <sys/shm.h>
#include <sys/wait.h>
#include <vector>

namespace {

using namespace soak;

constexpr int skipped = 77;
constexpr std::uint64_t second = 1'000'000'000;

/// Memory may differ by what one growth of the heap takes.
constexpr std::uint64_t tolerableGrowth = 256; // KiB

int skip() {
    std::cout << "skipped: kernel.shmmni leaves no room for " << signals << " segments\n";
    return skipped;
}

/// Removes what a run leaves, also one that was killed: segments, their key files and the claims of their
/// keys.
void cleanUp(const std::string& prefix) {
    for (unsigned number = 0; number < signals; ++number) {
        const std::string keyFile = "/tmp/" + instanceOf(prefix, number);
        const key_t key = ftok(keyFile.c_str(), 102);
        if (key == -1) {
            continue;
        }
        char claim[40];
        std::snprintf(claim, sizeof claim, "/tmp/.rksignal-key-%08x", static_cast<unsigned>(key));
        shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
        unlink(claim);
        unlink(keyFile.c_str());
    }
}

/// Slots that do not hold the value of the last frame that was sent for them.
unsigned lostFrames(const Record& record, const std::string& prefix) {
    unsigned lost = 0;
    for (unsigned number = 0; number < signals; ++number) {
        const std::uint64_t message = number / signalsInMessage;
        const std::uint64_t last = (record.frames - 1 - message) / messages * messages + message;
        const std::uint64_t expected = record.firstTime + last * frameTime;
        std::uint64_t raw = 0, timestamp = 0;
        const SlotView view(instanceOf(prefix, number));
        auto state = SlotView::State::Held;
        for (int tries = 0; tries < 1'000 && state == SlotView::State::Held; ++tries) {
            state = view.read(raw, timestamp);
            usleep(state == SlotView::State::Held ? 1'000 : 0); // somebody reads, and was interrupted
        }
        const bool isThere = state == SlotView::State::Value && timestamp == expected;
        lost += isThere && raw == valueAt(expected, number) ? 0 : 1;
    }
    return lost;
}

std::uint64_t growth(const ReaderCounts& counts) {
    return counts.memory - std::min(counts.memory, counts.memoryAfterWarmUp);
}

/// Prints the figures. \return whether all is well
bool report(const Record& record, unsigned lost, std::uint64_t kills) {
    ReaderCounts all;
    std::uint64_t grown = growth(record.ofWriter);
    for (const ReaderCounts& counts : record.ofReaders) {
        all.reads += counts.reads;
        all.withoutValue += counts.withoutValue;
        all.held += counts.held;
        all.torn += counts.torn;
        all.retries += counts.retries;
        all.latencies.add(counts.latencies);
        grown = std::max(grown, growth(counts));
    }
    const std::uint64_t torn = all.torn + record.tornInVisits;
    const std::uint64_t undecoded = record.frames - record.decoded;
    const std::uint64_t wrongFirings = record.firings > record.expectedFirings
                                           ? record.firings - record.expectedFirings
                                           : record.expectedFirings - record.firings;
    const auto micro = [](std::uint64_t duration) { return static_cast<double>(duration) / 1e3; };
    const std::pair<const char*, std::uint64_t> rows[] = {
        {"frames", record.frames},
        {"frames lost", undecoded + lost},
        {"values written", record.values},
        {"triggers fired", record.firings},
        {"firings too many or missing", wrongFirings},
        {"reads", all.reads},
        {"reads without a value", all.withoutValue},
        {"views that found the slot held", all.held},
        {"torn pairs", torn},
        {"processes that joined", record.visits},
        {"of these killed", kills},
        {"locks passed on", record.rescued},
        {"lock retries of the writer", record.ofWriter.retries},
        {"lock retries of the readers", all.retries},
        {"growth of memory in KiB", grown},
    };
    for (const auto& [name, value] : rows) {
        std::printf("%-32s %12lu\n", name, value);
    }
    std::printf("%-32s %12.2f us\n%-32s %12.2f us\n%-32s %12.2f us\n", "read latency, median",
                micro(all.latencies.quantile(0.5)), "99th percentile", micro(all.latencies.quantile(0.99)),
                "highest", micro(all.latencies.maximum()));
    std::printf("%-32s %12.2f ms\n", "longest delay of a frame", micro(record.longestDelay) / 1e3);
    return undecoded + lost + torn + wrongFirings == 0 && record.frames != 0 && record.visits != 0 &&
           grown <= tolerableGrowth;
}

/// Processes that come, look at some signals and go, half of them killed.
std::uint64_t receiveVisitors(Record& record, const std::string& prefix, std::uint64_t until) {
    std::mt19937 random(1);
    std::uint64_t kills = 0;
    while (clockTime() < until) {
        const pid_t visitor = start([&] { visit(record, prefix, static_cast<unsigned>(random())); });
        usleep(static_cast<useconds_t>(random() % 50'000));
        if (random() % 2 == 0) {
            kill(visitor, SIGKILL);
            ++kills;
        }
        waitpid(visitor, nullptr, 0);
    }
    return kills;
}

bool isAlive(pid_t process) {
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

bool endedWell(pid_t process) {
    int status = -1;
    waitpid(process, &status, 0);
    return status == 0;
}

int run(std::uint64_t seconds) {
    const std::string prefix = "Soak" + std::to_string(getpid()) + "_";
    Record& record = newRecord();
    std::vector<pid_t> processes{start([&] { write(record, prefix); })};
    const auto awaitAll = [&] {
        while (record.ready != processes.size() && isAlive(processes.back())) {
            usleep(1'000);
        }
    };
    awaitAll();
    if (record.lacksRoom) {
        cleanUp(prefix);
        return skip();
    }
    for (unsigned number = 0; number < readers; ++number) {
        processes.push_back(start([&] { read(record, prefix, number); }));
    }
    awaitAll();
    const std::uint64_t begin = clockTime();
    const std::uint64_t warm = begin + std::min<std::uint64_t>(seconds, 20) * second / 4;
    std::uint64_t kills = receiveVisitors(record, prefix, warm);
    record.isWarm = true;
    kills += receiveVisitors(record, prefix, begin + seconds * second);
    // Every slot is written again, and the lock of who was killed last is passed on.
    for (const std::uint64_t last = record.frames + 2ULL * messages;
         record.frames < last && isAlive(processes[0]);) {
        usleep(1'000);
    }
    record.writerEnds = true;
    bool isWell = endedWell(processes.front());
    const unsigned lost = lostFrames(record, prefix);
    record.readersEnd = true;
    for (std::size_t i = 1; i < processes.size(); ++i) {
        isWell = endedWell(processes[i]) && isWell;
    }
    cleanUp(prefix);
    isWell = report(record, lost, kills) && isWell;
    std::puts(isWell ? "all is well" : "NOT all is well");
    return isWell ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    std::uint64_t seconds = 60;
    const char* const number = argc == 3 && std::strcmp(argv[1], "--seconds") == 0 ? argv[2] : nullptr;
    const char* const end = number != nullptr ? number + std::strlen(number) : nullptr;
    if (argc != 1 &&
        (number == nullptr || std::from_chars(number, end, seconds).ptr != end || seconds == 0)) {
        std::cerr << "usage: soak [--seconds N]\n";
        return 2;
    }
    if (segmentRoom() < signals) {
        return skip();
    }
    return run(seconds);
}

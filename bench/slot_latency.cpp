// How long a read and a write of a shared slot take, in processes that use it at once, and how long it takes
// from a frame to the value in another process. Prints a table by itself: latencies vary too much for means.
//
//     slot_latency [READS]     by each process, 1,000,000 unless given

#include "bus/CANSignal.h"
#include "rkutil/LogUtil.h"
#include "signal/SlotView.h"
#include "support/Latencies.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned mostReaders = 4;

/// What the processes of a measurement share.
struct Board {
    std::array<Latencies, mostReaders> reads;
    Latencies writes, arrivals;
    std::atomic<unsigned> ready = 0;
    std::atomic<bool> isOver = false;
};

Board& newBoard() {
    void* const memory =
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) Board;
}

template <class Work>
pid_t start(Work work) {
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(0);
    }
    return process;
}

template <class Operation>
void measure(Latencies& latencies, const Operation& operation) {
    const std::uint64_t begin = clockTime();
    operation();
    latencies.count(clockTime() - begin);
}

canSignalDef_t definition() {
    canSignalDef_t def;
    def.instance = "slot_latency." + std::to_string(getpid());
    def.msgId = 1;
    def.bits = 64;
    return def;
}

void print(const char* subject, const std::string& condition, const Latencies& latencies) {
    const auto micro = [](std::uint64_t duration) { return static_cast<double>(duration) / 1e3; };
    std::printf("%-20s %-32s %10.2f %10.2f %10.2f\n", subject, condition.c_str(),
                micro(latencies.quantile(0.5)), micro(latencies.quantile(0.99)), micro(latencies.maximum()));
}

/// One process writes, some read through `BaseSignal` or look through `SlotView`. With a pause between writes
/// the lock is mostly free; without, it is not.
void measureSlot(const canSignalDef_t& def, unsigned readers, bool looks, bool contended, unsigned reads) {
    Board& board = newBoard();
    BaseSignal signal(def, true);
    std::vector<pid_t> processes;
    for (unsigned number = 0; number < readers; ++number) {
        processes.push_back(start([&] {
            const SlotView view = looks ? SlotView(def.instance) : SlotView();
            unsigned long raw = 0, timestamp = 0;
            ++board.ready;
            for (unsigned i = 0; i < reads; ++i) {
                measure(board.reads[number], [&] {
                    if (looks) {
                        view.read(raw, timestamp);
                    } else {
                        signal.read(raw, timestamp);
                    }
                });
            }
            ++board.ready;
        }));
    }
    for (unsigned long value = 1; board.ready < 2 * readers; ++value) {
        measure(board.writes, [&] { signal.writeRaw(value, value); });
        if (!contended) {
            usleep(20);
        }
    }
    for (const pid_t process : processes) {
        waitpid(process, nullptr, 0);
    }
    Latencies all;
    for (const Latencies& latencies : board.reads) {
        all.add(latencies);
    }
    const std::string condition = std::to_string(readers) + (readers == 1 ? " reader, " : " readers, ") +
                                  (contended ? "writes at once" : "writes at times");
    print(looks ? "SlotView::read" : "BaseSignal::read", condition, all);
    print("BaseSignal::write", condition, board.writes);
    munmap(&board, sizeof board);
}

/// From before a frame is decoded to when another process, which does nothing but look, has its value.
void measureArrival(const canSignalDef_t& def, unsigned frames) {
    Board& board = newBoard();
    CANSignal signal(def, true);
    const pid_t process = start([&] {
        const SlotView view(def.instance);
        std::uint64_t raw = 0, timestamp = 0, last = 0;
        ++board.ready;
        while (!board.isOver) {
            if (view.read(raw, timestamp) == SlotView::State::Value && timestamp != last) {
                board.arrivals.count(clockTime() - timestamp);
                last = timestamp;
            }
        }
    });
    while (board.ready == 0) {
        usleep(100);
    }
    std::vector<unsigned long> ids;
    for (unsigned i = 0; i < frames; ++i) {
        CANSignal::decodeMessage({.timestamp = clockTime(), .length = 8, .canId = 1, .payload = {1}}, ids);
        usleep(50);
    }
    board.isOver = true;
    waitpid(process, nullptr, 0);
    print("frame to value", "in another process", board.arrivals);
    munmap(&board, sizeof board);
}

} // namespace

int main(int argc, char** argv) {
    const unsigned reads = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 1'000'000;
    const canSignalDef_t def = definition();
    std::printf("%-53s %10s %10s %10s\n", "microseconds", "median", "99%", "highest");
    LogUtil::setReceiver([](LogLevel, std::string_view) {});
    for (const bool contended : {false, true}) {
        for (const bool looks : {false, true}) {
            for (const unsigned readers : {1U, 2U, 4U}) {
                measureSlot(def, readers, looks, contended, reads);
            }
        }
    }
    measureArrival(def, reads / 100);
    std::remove(("/tmp/" + def.instance).c_str());
}

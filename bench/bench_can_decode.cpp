// Decoding of received CAN frames into private and shared slots, beside the least work that gives the same
// result. Times are per frame; `signals` is the mean number of signals a frame carries.

#include "CanWorkload.h"
#include "LimitProbe.h"
#include "support/SegmentRoom.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <iostream>
#include <set>

namespace {

template <class Decode>
void runFrames(benchmark::State& state, const CanWorkload& workload, Decode&& decode) {
    std::vector<unsigned long> ids;
    std::size_t next = 0;
    for (auto _ : state) {
        decode(workload.frames[next], ids);
        benchmark::DoNotOptimize(ids.data());
        next = next + 1 < workload.frames.size() ? next + 1 : 0;
    }
    state.counters["signals"] = workload.signalsPerFrame();
}

void decodeByLibrary(benchmark::State& state, const CanWorkload& workload, bool shared) {
    BenchSignals library(workload, shared);
    runFrames(state, workload, [&](const CANExtTraceMessage& frame, std::vector<unsigned long>& ids) {
        CANSignal::decodeMessage(frame, ids, 0, &library.storage);
    });
}

void decodeByProbe(benchmark::State& state, const CanWorkload& workload, bool shared) {
    LimitProbe probe(workload.definitions, shared);
    if (shared) {
        runFrames(state, workload, [&](const CANExtTraceMessage& frame, std::vector<unsigned long>& ids) {
            probe.decodeShared(frame, ids);
        });
    } else {
        runFrames(state, workload, [&](const CANExtTraceMessage& frame, std::vector<unsigned long>& ids) {
            probe.decodePrivate(frame, ids);
        });
    }
}

/// Ends the program if probe and library disagree: a yardstick that does other work measures nothing.
void checkProbe(const CanWorkload& workload) {
    BenchSignals library(workload, false);
    LimitProbe probe(workload.definitions, false);
    std::vector<unsigned long> ids;
    std::vector<unsigned long> probeIds;
    for (const CANExtTraceMessage& frame : workload.frames) {
        CANSignal::decodeMessage(frame, ids, 0, &library.storage);
        probe.decodePrivate(frame, probeIds);
        if (ids.size() != probeIds.size()) {
            std::cerr << workload.name << ": probe and library write different signals\n";
            std::exit(1);
        }
    }
    for (std::size_t i = 0; i < library.signals.size(); ++i) {
        if (library.signals[i]->slot->valid != 0 && library.signals[i]->slot->raw != probe.raw(i)) {
            std::cerr << workload.name << ": probe and library disagree on "
                      << workload.definitions[i].instance << "\n";
            std::exit(1);
        }
    }
}

/// Once a workload.
void checkProbeOf(const CanWorkload& workload) {
    static std::set<const CanWorkload*> checked;
    if (checked.insert(&workload).second) {
        checkProbe(workload);
    }
}

void registerAll(const CanWorkload& workload) {
    constexpr std::size_t maxShared = 4000;
    const std::size_t segments = workload.definitions.size();
    for (const bool shared : {false, true}) {
        if (shared && segments > maxShared) {
            continue;
        }
        if (shared && segments > segmentRoom()) {
            std::cerr << "skipped: CanDecode/shared/" << workload.name
                      << " (kernel.shmmni leaves no room for " << segments << " segments)\n";
            continue;
        }
        const std::string condition = (shared ? "/shared/" : "/private/") + workload.name;
        benchmark::RegisterBenchmark(("CanDecode" + condition).c_str(),
                                     [&workload, shared](benchmark::State& state) {
                                         checkProbeOf(workload);
                                         decodeByLibrary(state, workload, shared);
                                     });
        benchmark::RegisterBenchmark(
            ("CanDecode_probe" + condition).c_str(),
            [&workload, shared](benchmark::State& state) { decodeByProbe(state, workload, shared); });
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<CanWorkload> workloads;
    for (const std::size_t signals : {100U, 1000U, 4000U, 20'000U, 100'000U}) {
        workloads.push_back(generatedWorkload(signals));
    }
    for (const Recording& recording : benchmarkDbcFiles) {
        if (auto workload = dbcWorkload(recording)) {
            workloads.push_back(std::move(*workload));
        }
    }
    for (const CanWorkload& workload : workloads) {
        registerAll(workload);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

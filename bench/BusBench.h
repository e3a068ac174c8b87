/// \file
/// Benchmarks of a bus: its decoder beside a limit probe, on the same frames.
///
/// `Bus` gives `Signal`, `Definition`, `Message`, `name`, the function
/// `decode(const Message&, std::vector<unsigned long>& ids, SignalStorage*)` and the class template
/// `Probe<Field>`: built from definitions, it has `decode(const Message&, ids)`, where `ids` receives
/// the indices of the definitions, and `table`, a ProbeTable.
#pragma once

#include "BusProbe.h"
#include "QuietOutput.h"
#include "signal/SignalStorage.h"
#include "support/SegmentRoom.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

template <class Bus>
struct BusWorkload {
    std::string name;
    std::vector<typename Bus::Definition> definitions;
    std::vector<typename Bus::Message> frames;
};

/// Every frame kind of a palette equally often, at least so many frames, in random order, at random times.
template <class Message>
std::vector<Message> shuffled(const std::vector<Message>& palette, std::size_t least = 1024) {
    std::mt19937_64 random(20240607);
    std::vector<Message> frames;
    while (frames.size() < least) {
        frames.insert(frames.end(), palette.begin(), palette.end());
    }
    std::shuffle(frames.begin(), frames.end(), random);
    for (Message& frame : frames) {
        frame.timestamp = random();
    }
    return frames;
}

/// The signals of a workload in a storage that stands alone, so that workloads do not meet. Key files of
/// shared ones are removed with them.
template <class Bus>
class OwnSignals {
  public:
    OwnSignals(const BusWorkload<Bus>& workload, bool shared) : shared(shared) {
        const QuietOutput quiet;
        for (typename Bus::Definition definition : workload.definitions) {
            definition.instance += "." + workload.name + ".bench" + std::to_string(getpid());
            signals.push_back(std::make_unique<typename Bus::Signal>(definition, shared, &storage));
        }
    }
    ~OwnSignals() {
        const QuietOutput quiet;
        for (auto& signal : signals) {
            const std::string keyFile = "/tmp/" + signal->def.instance;
            signal.reset();
            if (shared) {
                std::remove(keyFile.c_str());
            }
        }
    }
    OwnSignals(const OwnSignals&) = delete;
    OwnSignals& operator=(const OwnSignals&) = delete;

    SignalStorage storage{SignalTables::Own};
    std::vector<std::unique_ptr<typename Bus::Signal>> signals; ///< in the order of the definitions

  private:
    bool shared;
};

/// Library and probe with the signals of one workload.
template <class Bus, class Field>
class BusContest {
  public:
    BusContest(const BusWorkload<Bus>& workload, bool shared)
        : workload(workload), library(workload, shared), probe(workload.definitions) {}

    /// Ends the program if the two disagree: a yardstick that does other work measures nothing.
    void check() {
        std::vector<unsigned long> ids;
        std::vector<unsigned long> indices;
        bool agree = true;
        for (const auto& frame : workload.frames) {
            Bus::decode(frame, ids, &library.storage);
            probe.decode(frame, indices);
            for (unsigned long& index : indices) {
                index = library.signals[index]->id;
            }
            std::sort(ids.begin(), ids.end()); // that order costs neither of them anything
            std::sort(indices.begin(), indices.end());
            agree = agree && ids == indices;
        }
        for (const Field& field : probe.table.fields) {
            const signalSlot_t& slot = *library.signals[field.id]->slot;
            agree = agree && (slot.valid != 0) == field.isValid() &&
                    (!field.isValid() || slot.raw == field.rawValue());
        }
        if (!agree) {
            std::cerr << Bus::name << " " << workload.name << ": probe and library disagree\n";
            std::exit(1);
        }
    }

    void runLibrary(benchmark::State& state) {
        run(state, [this](const auto& frame, auto& ids) { Bus::decode(frame, ids, &library.storage); });
    }
    void runProbe(benchmark::State& state) {
        run(state, [this](const auto& frame, auto& ids) { probe.decode(frame, ids); });
    }

  private:
    template <class Decode>
    void run(benchmark::State& state, Decode decode) {
        std::vector<unsigned long> ids;
        std::size_t next = 0;
        for (auto _ : state) {
            decode(workload.frames[next], ids);
            benchmark::DoNotOptimize(ids.data());
            next = next + 1 < workload.frames.size() ? next + 1 : 0;
        }
    }

    const BusWorkload<Bus>& workload;
    OwnSignals<Bus> library;
    typename Bus::template Probe<Field> probe;
};

/// Registers both; they are built when the first of the two runs, once a process.
template <class Bus, class Field>
void registerContest(const BusWorkload<Bus>& workload, bool shared) {
    using Contest = BusContest<Bus, Field>;
    const auto built = std::make_shared<std::unique_ptr<Contest>>();
    const auto contest = [&workload, shared, built]() -> Contest& {
        if (*built == nullptr) {
            *built = std::make_unique<Contest>(workload, shared);
            (*built)->check();
        }
        return **built;
    };
    const std::string subject = std::string(Bus::name) + "Decode";
    const std::string condition = (shared ? "/shared/" : "/private/") + workload.name;
    benchmark::RegisterBenchmark((subject + condition).c_str(),
                                 [contest](auto& state) { contest().runLibrary(state); });
    benchmark::RegisterBenchmark((subject + "_probe" + condition).c_str(),
                                 [contest](auto& state) { contest().runProbe(state); });
}

/// Every workload with private slots, and those of at most `maxShared` signals with shared ones, as long as
/// the system has segments for all that may live at once.
template <class Bus>
void registerContests(const std::vector<BusWorkload<Bus>>& workloads) {
    constexpr std::size_t maxShared = 4000;
    std::uint64_t room = segmentRoom();
    for (const BusWorkload<Bus>& workload : workloads) {
        registerContest<Bus, PrivateProbeField>(workload, false);
        if (workload.definitions.size() > maxShared) {
            continue;
        }
        const std::uint64_t segments = 2 * workload.definitions.size(); // of library and probe
        if (segments > room) {
            std::cerr << "skipped: " << Bus::name << "Decode/shared/" << workload.name
                      << " (kernel.shmmni leaves no room for " << segments << " segments)\n";
            continue;
        }
        room -= segments;
        registerContest<Bus, SharedProbeField>(workload, true);
    }
}

// Signals that come and go: building, destroying, clearing and time-outs at 1,000, 10,000 and 100,000 signals
// of each kind, ten a frame, and the memory that a signal takes. One iteration is the whole population, so
// that the times of a column show how a step grows; `a_signal` is the time of one signal. `bytes_a_signal` is
// what the process grows by, private slots and all; `malloc_a_signal` is the part that malloc gave.

#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "support/EthernetFrame.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <ctime>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned signalsPerFrame = 10;

template <class Definition>
Definition numbered(unsigned number) {
    Definition definition;
    definition.instance = "s" + std::to_string(number); // short: it lies in the string itself
    definition.signal = "s";
    definition.bits = 8;
    definition.startbit = static_cast<std::uint16_t>(number % signalsPerFrame % 7 * 8);
    return definition;
}

/// Each kind says how its signals are defined, ten a frame, and what comes between building and destroying.
struct Can {
    using Signal = CANSignal;
    static canSignalDef_t define(unsigned number) {
        auto definition = numbered<canSignalDef_t>(number);
        definition.msgId = number / signalsPerFrame;
        return definition;
    }
    static void receive(unsigned /*frames*/) {}
};

struct CanFd : Can {
    static canSignalDef_t define(unsigned number) {
        canSignalDef_t definition = Can::define(number);
        definition.canFD = true;
        return definition;
    }
};

struct Lin {
    using Signal = LINSignal;
    static linSignalDef_t define(unsigned number) {
        auto definition = numbered<linSignalDef_t>(number);
        const unsigned frame = number / signalsPerFrame;
        definition.msgId = frame % 64;
        definition.channel = static_cast<std::uint8_t>(frame / 64);
        return definition;
    }
    static void receive(unsigned /*frames*/) {}
};

/// Each frame occurs in `64 / repetition` cycles.
template <std::uint8_t repetition>
struct FlexRay {
    using Signal = FlexRaySignal;
    static flexRaySignalDef_t define(unsigned number) {
        auto definition = numbered<flexRaySignalDef_t>(number);
        const unsigned frame = number / signalsPerFrame;
        flexRayPosition_t position;
        position.startBit = definition.startbit;
        position.slot = static_cast<std::uint16_t>(frame % 2000);
        position.repetition = repetition;
        definition.channel = static_cast<std::uint8_t>(frame / 2000);
        definition.positions = {position};
        return definition;
    }
    static void receive(unsigned /*frames*/) {}
};

/// All frames are received once, so that there is a decision on each.
struct Ethernet {
    using Signal = EthernetSignal;
    static ethernetSignalDef_t define(unsigned number) {
        auto definition = numbered<ethernetSignalDef_t>(number);
        ethernetPosition_t position;
        position.startBit = definition.startbit;
        position.destinationPort = static_cast<std::uint16_t>(1 + number / signalsPerFrame);
        definition.positions = {position};
        return definition;
    }
    static void receive(unsigned frames) {
        MIITraceMessage message;
        std::vector<unsigned long> ids;
        for (unsigned frame = 0; frame < frames; ++frame) {
            message.frame =
                FrameText{.destinationPort = static_cast<std::uint16_t>(1 + frame)}.with(Octets(10));
            EthernetSignal::decodeMessage(message, ids);
        }
    }
};

template <class Class>
struct Input {
    using Signal = Class;
    static inputSignalDef_t define(unsigned number) {
        auto definition = numbered<inputSignalDef_t>(number);
        const unsigned input = number / signalsPerFrame;
        definition.channel = static_cast<std::uint8_t>(input);
        definition.tslId = static_cast<std::uint8_t>(input >> 8);
        return definition;
    }
    static void receive(unsigned /*frames*/) {}
};

struct Memory {
    double malloced; // bytes
    double resident;

    static Memory now() {
        malloc_trim(0); // what was freed before counts no more
        const struct mallinfo2 heap = mallinfo2();
        std::ifstream file("/proc/self/smaps_rollup");
        std::string word;
        double kilobytes = 0;
        while (file >> word && word != "Rss:") {
        }
        file >> kilobytes;
        return {static_cast<double>(heap.uordblks + heap.hblkhd), 1024 * kilobytes};
    }
};

/// All signals of a kind, built at once.
template <class Kind>
class Population {
  public:
    using Signal = typename Kind::Signal;

    explicit Population(unsigned count) {
        for (unsigned number = 0; number < count; ++number) {
            definitions.push_back(Kind::define(number));
        }
        signals.reserve(count);
    }
    void build() {
        for (const auto& definition : definitions) {
            signals.push_back(std::make_unique<Signal>(definition));
        }
        Kind::receive(static_cast<unsigned>(signals.size()) / signalsPerFrame);
    }
    void destroy() {
        for (std::unique_ptr<Signal>& signal : signals) {
            signal.reset();
        }
        signals.clear();
    }
    void shuffle() { std::shuffle(signals.begin(), signals.end(), std::mt19937(20240607)); }

    /// The identifiers of every tenth signal, in random order.
    std::vector<unsigned long> someIds() {
        std::vector<unsigned long> ids;
        shuffle();
        for (std::size_t i = 0; i < signals.size(); i += 10) {
            ids.push_back(signals[i]->id);
        }
        return ids;
    }

  private:
    std::vector<decltype(Kind::define(0))> definitions;
    std::vector<std::unique_ptr<Signal>> signals;
};

/// Processor time of this process in seconds.
double processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Runs and times `step` between `prepare` and `finish`.
void timed(benchmark::State& state, auto prepare, auto step, auto finish) {
    for (auto _ : state) {
        prepare();
        const double begin = processorTime();
        step();
        state.SetIterationTime(processorTime() - begin);
        finish();
    }
    state.counters["a_signal"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Kind>
void build(benchmark::State& state) {
    Population<Kind> population(static_cast<unsigned>(state.range(0)));
    Memory before{};
    Memory after{};
    timed(
        state, [&] { before = Memory::now(); }, [&] { population.build(); },
        [&] {
            after = Memory::now();
            population.destroy();
        });
    const auto signals = static_cast<double>(state.range(0));
    state.counters["bytes_a_signal"] = (after.resident - before.resident) / signals;
    state.counters["malloc_a_signal"] = (after.malloced - before.malloced) / signals;
}

template <class Kind>
void destroy(benchmark::State& state) {
    Population<Kind> population(static_cast<unsigned>(state.range(0)));
    timed(
        state, [&] { population.build(); }, [&] { population.destroy(); }, [] {});
}

template <class Kind>
void destroyInAnyOrder(benchmark::State& state) {
    Population<Kind> population(static_cast<unsigned>(state.range(0)));
    const auto prepare = [&] {
        population.build();
        population.shuffle();
    };
    timed(
        state, prepare, [&] { population.destroy(); }, [] {});
}

template <class Kind>
void clearTenth(benchmark::State& state) {
    Population<Kind> population(static_cast<unsigned>(state.range(0)));
    population.build();
    const std::vector<unsigned long> ids = population.someIds();
    timed(
        state, [] {}, [&] { BaseSignal::clear(ids); }, [] {});
    population.destroy();
}

template <class Kind>
void checkTimeouts(benchmark::State& state) {
    Population<Kind> population(static_cast<unsigned>(state.range(0)));
    population.build();
    std::vector<unsigned long> ids;
    timed(
        state, [] {}, [&] { BaseSignal::checkTimeout(1, ids); }, [] {});
    population.destroy();
}

template <class Kind>
void registerKind(const std::string& name) {
    const std::pair<const char*, void (*)(benchmark::State&)> steps[] = {
        {"build/", build<Kind>},
        {"destroy/", destroy<Kind>},
        {"destroy_in_any_order/", destroyInAnyOrder<Kind>},
        {"clear_a_tenth/", clearTenth<Kind>},
        {"check_timeouts/", checkTimeouts<Kind>},
    };
    for (const auto& [step, function] : steps) {
        benchmark::RegisterBenchmark(("Life/" + std::string(step) + name).c_str(), function)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Arg(1'000)
            ->Arg(10'000)
            ->Arg(100'000);
    }
}

} // namespace

int main(int argc, char** argv) {
    registerKind<Can>("can");
    registerKind<CanFd>("can_fd");
    registerKind<Lin>("lin");
    registerKind<FlexRay<8>>("flexray");
    registerKind<FlexRay<1>>("flexray_every_cycle");
    registerKind<Ethernet>("ethernet");
    registerKind<Input<DigitalSignal>>("digital");
    registerKind<Input<AnalogSignal>>("analog");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

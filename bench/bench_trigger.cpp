// What conditions cost a frame in the replay of a candump log: with a fixed number of them concerned by a
// frame while the total grows, and with a growing number concerned while the total stays. `a_frame` is the
// time of one frame, read, decoded, and its conditions evaluated.

#include "condition/Triggers.h"
#include "value/Replay.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <random>
#include <string>

namespace {

using namespace rksignal;

constexpr unsigned messages = 1250; // of four signals of 16 bits each
constexpr unsigned frames = 100'000;

struct Scenario {
    unsigned conditions;
    unsigned busyMessages; ///< those that the log holds
    unsigned concerned;    ///< conditions on each busy message; the others are on the idle ones
    bool mixed = false;    ///< the conditions on a message have different signals
};

std::string definitions() {
    std::string text = "BU_: Unit\n";
    for (unsigned message = 0; message < messages; ++message) {
        text += "BO_ " + std::to_string(256 + message) + " M" + std::to_string(message) + ": 8 Unit\n";
        for (unsigned signal = 0; signal < 4; ++signal) {
            text += " SG_ S" + std::to_string(signal) + " : " + std::to_string(16 * signal) +
                    "|16@1+ (0.5,0) [0|0] \"\" Unit\n";
        }
    }
    return text;
}

/// A log in a file without a name, in which every signal changes with every frame.
std::FILE* writeLog(unsigned busyMessages) {
    std::FILE* const log = std::tmpfile();
    std::mt19937_64 random(busyMessages);
    for (unsigned frame = 0; frame < frames; ++frame) {
        std::fprintf(log, "(%u.%06u) can0 %03X#%016llX\n", 1700000000 + frame / 5000, frame % 5000 * 200,
                     256 + frame % busyMessages, static_cast<unsigned long long>(random()));
    }
    std::fflush(log);
    return log;
}

/// A comparison of two signals of one message, true once in a hundred thousand frames.
std::string conditionOn(unsigned message, unsigned number, unsigned first, unsigned distance) {
    const std::string name = "M" + std::to_string(message) + ".S";
    return name + std::to_string(first % 4) + " > 32700 && " + name + std::to_string((first + distance) % 4) +
           " < " + std::to_string(100 + number % 100);
}

std::vector<Condition> compile(const Scenario& scenario, Catalog& catalog) {
    std::vector<Condition> conditions;
    for (unsigned i = 0; i < scenario.conditions; ++i) {
        const bool concerned = i < scenario.busyMessages * scenario.concerned;
        const unsigned idle = messages - scenario.busyMessages;
        const unsigned message = concerned ? i % scenario.busyMessages : scenario.busyMessages + i % idle;
        const unsigned turn = i / scenario.busyMessages;
        const std::string text =
            scenario.mixed ? conditionOn(message, i, turn, 1 + turn / 4 % 3) : conditionOn(message, i, i, 1);
        conditions.emplace_back(text, catalog);
    }
    return conditions;
}

class NoSink : public ValueSink, public FiringSink {
  public:
    void written(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) override {}
    void fired(const Firing& /*firing*/) override {}
    bool closed() const override { return false; }
};

void replay(Catalog& catalog, std::FILE* log, ValueSink& sink) {
    std::rewind(log);
    Trace trace;
    trace.addDescriptor(fileno(log), "bench.log");
    Replay replay(catalog, sink);
    replay.run(trace);
}

void measure(benchmark::State& state, const Scenario& scenario) {
    Catalog catalog;
    catalog.addDbcText(definitions(), "bench.dbc");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> log(writeLog(scenario.busyMessages), std::fclose);
    NoSink none;
    Triggers triggers(catalog, compile(scenario, catalog));
    triggers.addFiringSink(none);
    for (auto _ : state) {
        replay(catalog, log.get(), triggers);
    }
    state.counters["a_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
}

} // namespace

int main(int argc, char** argv) {
    const std::pair<const char*, Scenario> scenarios[] = {
        {"no_condition", {0, 12, 0}},
        {"1_condition", {1, 12, 1}},
        {"100_conditions/8_a_frame", {100, 12, 8}},
        {"100_conditions/8_a_frame_mixed", {100, 12, 8, true}},
        {"1000_conditions/8_a_frame", {1'000, 12, 8}},
        {"10000_conditions/8_a_frame", {10'000, 12, 8}},
        {"10000_conditions/1_a_frame", {10'000, 12, 1}},
        {"10000_conditions/64_a_frame", {10'000, 12, 64}},
        {"10000_conditions/8_a_frame_all_busy", {10'000, messages, 8}},
    };
    for (const auto& [name, scenario] : scenarios) {
        benchmark::RegisterBenchmark((std::string("Trigger/") + name).c_str(), [scenario = scenario](
                                                                                   benchmark::State& state) {
            measure(state, scenario);
        })->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

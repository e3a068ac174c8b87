// Writing and reading one signal's slot through the virtual interface, private and shared.

#include "QuietOutput.h"
#include "signal/BaseSignal.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

/// A signal of its own for each benchmark, whose key file is removed with it.
class BenchSignal {
  public:
    explicit BenchSignal(bool shared) : instance("bench_slot." + std::to_string(getpid())) {
        baseSignalDef_t definition;
        definition.instance = instance;
        definition.signal = "Speed";
        definition.type = signalValue_t::Signed;
        definition.startbit = 12;
        definition.bits = 10;
        definition.scale = 0.25;
        signal = std::make_unique<BaseSignal>(definition, shared);
    }
    ~BenchSignal() {
        signal.reset();
        std::remove(("/tmp/" + instance).c_str());
    }
    BenchSignal(const BenchSignal&) = delete;
    BenchSignal& operator=(const BenchSignal&) = delete;

    BaseSignal& operator*() const { return *signal; }

  private:
    QuietOutput quiet;
    std::string instance;
    std::unique_ptr<BaseSignal> signal;
};

void writePayload(benchmark::State& state, bool shared) {
    const BenchSignal owner(shared);
    BaseSignal& signal = *owner;
    unsigned char payload[8] = {0x12, 0x34, 0x56, 0x78};
    unsigned long time = 0;
    for (auto _ : state) {
        ++payload[1];
        signal.write(payload, sizeof payload, ++time);
    }
}

void writeRaw(benchmark::State& state, bool shared) {
    const BenchSignal owner(shared);
    unsigned long time = 0;
    for (auto _ : state) {
        (*owner).writeRaw(time, time);
        ++time;
    }
}

template <class Value>
void read(benchmark::State& state, bool shared) {
    const BenchSignal owner(shared);
    (*owner).writeRaw(42, 1);
    Value value{};
    unsigned long time = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize((*owner).read(value, time));
        benchmark::DoNotOptimize(value);
    }
}

void registerAll(const char* condition, bool shared) {
    const auto add = [&](const char* subject, auto run) {
        benchmark::RegisterBenchmark((std::string(subject) + condition).c_str(),
                                     [run, shared](benchmark::State& state) { run(state, shared); });
    };
    add("SlotWritePayload/", writePayload);
    add("SlotWriteRaw/", writeRaw);
    add("SlotReadRaw/", read<unsigned long>);
    add("SlotReadPhysical/", read<double>);
}

} // namespace

int main(int argc, char** argv) {
    registerAll("private", false);
    registerAll("shared", true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

// Reading DBC text into its model, from memory.

#include "Recordings.h"
#include "definition/dbc/DbcFile.h"

#include <benchmark/benchmark.h>

namespace {

void load(benchmark::State& state, const std::string& text) {
    std::size_t signals = 0;
    for (auto _ : state) {
        signals = 0;
        for (const auto& message : rksignal::parseDbc(text, "bench.dbc").messages) {
            signals += message.signals.size();
        }
    }
    state.counters["signals"] = static_cast<double>(signals);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}

/// 500 messages of 8 signals each with units and value descriptions.
std::string generatedText() {
    std::string text = "VERSION \"\"\n\nBU_: Unit\n";
    std::string descriptions;
    for (int message = 0; message < 500; ++message) {
        const std::string id = std::to_string(0x100 + message);
        text += "\nBO_ " + id + " Message" + id + ": 8 Unit\n";
        for (int signal = 0; signal < 8; ++signal) {
            const std::string name = "Signal" + std::to_string(signal);
            text += " SG_ " + name + " : " + std::to_string(8 * signal) +
                    "|8@1+ (0.5,-40) [-40|87.5] \"degC\" Vector__XXX\n";
            descriptions += "VAL_ " + id + " " + name + " 0 \"off\" 1 \"on\" 255 \"not available\" ;\n";
        }
    }
    return text + "\n" + descriptions;
}

} // namespace

int main(int argc, char** argv) {
    const auto add = [](const char* name, const std::string& text) {
        benchmark::RegisterBenchmark((std::string("DbcLoad/") + name).c_str(),
                                     [text](benchmark::State& state) { load(state, text); });
    };
    add("4000_generated", generatedText());
    for (const Recording& recording : benchmarkDbcFiles) {
        if (const auto text = readRecording(recording)) {
            add(recording.name, *text);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

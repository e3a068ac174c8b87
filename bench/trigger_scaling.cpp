// What conditions cost a frame in a replay: once with a fixed number of them concerned by a frame while the
// total grows, and once with a growing number concerned while the total stays. Prints both curves.
//
//     trigger_scaling [FRAMES]     length of the log, 1,000,000 unless given

#include "condition/Triggers.h"
#include "value/Replay.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>

namespace {

using namespace rksignal;

constexpr unsigned messages = 1250; // of four signals of 16 bits each

struct Scenario {
    unsigned conditions;
    unsigned busyMessages; ///< those that the log holds
    unsigned concerned;    ///< conditions on each busy message; the others are on the idle ones
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
std::FILE* writeLog(unsigned busyMessages, unsigned frames) {
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
std::string conditionOn(unsigned message, unsigned number) {
    const std::string name = "M" + std::to_string(message) + ".S";
    return name + std::to_string(number % 4) + " > 32700 && " + name + std::to_string((number + 1) % 4) +
           " < " + std::to_string(100 + number % 100);
}

std::vector<Condition> compile(const Scenario& scenario, Catalog& catalog) {
    std::vector<Condition> conditions;
    for (unsigned i = 0; i < scenario.conditions; ++i) {
        const bool concerned = i < scenario.busyMessages * scenario.concerned;
        const unsigned idle = messages - scenario.busyMessages;
        const unsigned message = concerned ? i % scenario.busyMessages : scenario.busyMessages + i % idle;
        conditions.emplace_back(conditionOn(message, i), catalog);
    }
    return conditions;
}

class NoSink : public ValueSink, public FiringSink {
  public:
    void written(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) override {}
    void fired(const Firing& /*firing*/) override {}
    bool closed() const override { return false; }
};

/// \return nanoseconds of processor time a frame
double replay(Catalog& catalog, std::FILE* log, ValueSink& sink) {
    std::rewind(log);
    Trace trace;
    trace.addDescriptor(fileno(log), "bench.log");
    Replay replay(catalog, sink);
    const std::clock_t start = std::clock();
    replay.run(trace);
    return 1e9 / CLOCKS_PER_SEC * static_cast<double>(std::clock() - start) /
           static_cast<double>(replay.statistics().messages());
}

void measure(const Scenario& scenario, unsigned frames) {
    Catalog catalog;
    catalog.addDbcText(definitions(), "bench.dbc");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> log(writeLog(scenario.busyMessages, frames),
                                                              std::fclose);
    NoSink none;
    replay(catalog, log.get(), none); // fills the caches
    const double alone = replay(catalog, log.get(), none);

    Triggers triggers(catalog, compile(scenario, catalog));
    triggers.addFiringSink(none);
    const double together = replay(catalog, log.get(), triggers);
    std::uint64_t evaluations = 0;
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        evaluations += triggers.counts(i).evaluations();
    }
    std::printf("%10u %9.1f %12.1f ns %12.1f ns %12.1f ns\n", scenario.conditions,
                static_cast<double>(evaluations) / frames, alone, together - alone,
                (together - alone) * frames / static_cast<double>(evaluations));
}

void measureAll(const char* title, std::initializer_list<Scenario> scenarios, unsigned frames) {
    std::printf("\n%s\n%10s %9s %15s %15s %15s\n", title, "conditions", "a frame", "decoding", "conditions",
                "one condition");
    for (const Scenario& scenario : scenarios) {
        measure(scenario, frames);
    }
}

} // namespace

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? static_cast<unsigned>(std::atoi(argv[1])) : 1'000'000;
    std::printf("Processor time a frame over %u frames, with %u signals\n", frames, 4 * messages);
    measureAll("The same conditions concerned, more and more others",
               {{96, 12, 8}, {1'000, 12, 8}, {10'000, 12, 8}}, frames);
    measureAll("10,000 conditions, more and more of them concerned",
               {{10'000, 12, 1}, {10'000, 12, 4}, {10'000, 12, 16}, {10'000, 12, 64}}, frames);
    measureAll("All messages in traffic", {{1'250, messages, 1}, {10'000, messages, 8}}, frames);
}

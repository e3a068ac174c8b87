// Scanning event descriptions for the names of signals: the library, and beside it RE2 finding the same names
// with one alternation and doing nothing with them.

#include "event/EventParser.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <re2/re2.h>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t textSize = 10'000'000;
constexpr double nameShare = 0.2; ///< of the text's bytes

/// Trigger conditions with remarks, as users write them, with as many remarks as bring names to their share.
class EventText {
  public:
    EventText() {
        while (text.size() < textSize) {
            addCondition();
        }
    }
    std::string text;
    std::size_t names = 0;

  private:
    std::size_t below(std::size_t limit) { return random() % limit; }

    template <std::size_t count>
    std::string_view oneOf(const std::array<std::string_view, count>& choices) {
        return choices[below(count)];
    }

    std::string name() {
        static constexpr std::array<std::string_view, 16> fixed = {
            "GPS.Speed",       "GPS.Status",   "GPS.Latitude", "GPS.Longitude",  "GPS.Altitude",
            "GPS.Course",      "GPS.Date",     "GPS.Time",     "GPS.Satellites", "RC.TRG",
            "RC.F1",           "Logger.Timer", "Logger.Start", "Logger.Status",  "Logger.IntMemory",
            "Logger.ExtMemory"};
        switch (below(10)) {
        case 0:
            return "LIN.signal" + std::to_string(below(50));
        case 1:
            return "FLEXRAY.signal" + std::to_string(below(100));
        case 2:
            return "MII.signal" + std::to_string(below(50));
        case 3:
            return "DI." + std::to_string(below(16));
        case 4:
            return "AI." + std::to_string(below(16));
        case 5:
            return std::string(oneOf(fixed));
        default:
            return "CAN.signal" + std::to_string(below(500));
        }
    }

    void addCondition() {
        static constexpr std::array<std::string_view, 6> comparisons = {
            " > ", " < ", " >= ", " <= ", " == ", " != "};
        static constexpr std::array<std::string_view, 4> joints = {" && ", " || ", " && !(", ") || "};
        const std::string mentioned = name();
        text += mentioned;
        nameBytes += mentioned.size();
        ++names;
        text += oneOf(comparisons);
        text += std::to_string(below(5000));
        text += oneOf(joints);
        if (share() > nameShare) {
            addRemark();
        }
    }

    void addRemark() {
        static constexpr std::array<std::string_view, 24> words = {
            "the",   "door",     "opens",   "while", "Engine", "speed",   "is",   "above",
            "limit", "for",      "CAN bus", "idle",  "after",  "start",   "of",   "battery",
            "Alarm", "Measured", "voltage", "drops", "Gear",   "GPS fix", "lost", "record"};
        text += "\n// ";
        while (share() > nameShare) {
            text += oneOf(words);
            text += ' ';
        }
        text += '\n';
    }

    double share() const { return static_cast<double>(nameBytes) / static_cast<double>(text.size()); }

    std::mt19937 random{20240501};
    std::size_t nameBytes = 0;
};

const EventText& eventText() {
    static const EventText made;
    return made;
}

void check(std::size_t found) {
    if (found != eventText().names) {
        std::fprintf(stderr, "%zu names found of %zu\n", found, eventText().names);
        std::exit(1);
    }
}

/// Every mention but one in the remarks; counters wrap at 65536.
std::size_t mentions(const eventFlexer& found) {
    return std::size_t{0} + found.canCount + found.linCount + found.flexRayCount + found.miiCount +
           found.rcCount + found.digitalCount + found.analogCount + found.loggerCount + found.gpsCount;
}

void setBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(eventText().text.size()));
}

void library(benchmark::State& state) {
    const std::string& text = eventText().text;
    std::size_t found = 0;
    for (auto _ : state) {
        const EventParser parser(text);
        found = mentions(parser.scanner);
    }
    check(found + (eventText().names - found) / 65536 * 65536);
    setBytes(state);
}

void re2FindAndConsume(benchmark::State& state) {
    const std::string& text = eventText().text;
    const RE2 name("((?:CAN|LIN|FLEXRAY|MII)\\.signal[0-9]+|RC\\.F[0-9]+|RC\\.TRG|[DA]I\\.[0-9]+|"
                   "Logger\\.(?:Status|Start|Timer|IntMemory|ExtMemory)|"
                   "GPS\\.(?:Status|Time|Latitude|Longitude|Speed|Course|Date|Satellites|Altitude))");
    std::size_t found = 0;
    for (auto _ : state) {
        re2::StringPiece rest(text);
        re2::StringPiece match;
        for (found = 0; RE2::FindAndConsume(&rest, name, &match); ++found) {
        }
    }
    check(found);
    setBytes(state);
}

} // namespace

BENCHMARK(library)->Name("EventScan/library")->Unit(benchmark::kMillisecond);
BENCHMARK(re2FindAndConsume)->Name("EventScan/RE2_FindAndConsume")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

// Scanning event descriptions for the names of signals, which make up 0.1 % to 50 % of the text: the library,
// by its search and by its scanner, and beside it RE2 and, where it is installed, Hyperscan, which find the
// same names with one alternation and do nothing with them.

#include "event/EventParser.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <re2/re2.h>
#include <string>
#include <string_view>

#ifdef BENCH_HYPERSCAN
#include <hs.h>
#endif

namespace {

constexpr std::size_t textSize = 10'000'000;
constexpr std::array<int, 4> nameShares = {1, 10, 200, 500}; ///< of the text's bytes, in thousandths

/// Trigger conditions with remarks, as users write them, with as many remarks as bring names to their share.
class EventText {
  public:
    explicit EventText(double nameShare) : nameShare(nameShare) {
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

    double nameShare;
    std::mt19937 random{20240501};
    std::size_t nameBytes = 0;
};

const EventText& eventText(std::int64_t thousandths) {
    static std::map<std::int64_t, EventText> made;
    return made.try_emplace(thousandths, static_cast<double>(thousandths) / 1000).first->second;
}

void check(std::size_t found, const EventText& text) {
    if (found != text.names) {
        std::fprintf(stderr, "%zu names found of %zu\n", found, text.names);
        std::exit(1);
    }
}

/// Every mention but one in the remarks; counters wrap at 65536.
std::size_t mentions(const eventFlexer& found) {
    return std::size_t{0} + found.canCount + found.linCount + found.flexRayCount + found.miiCount +
           found.rcCount + found.digitalCount + found.analogCount + found.loggerCount + found.gpsCount;
}

void setBytes(benchmark::State& state) {
    const std::size_t size = eventText(state.range(0)).text.size();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void library(benchmark::State& state, EventSearch search) {
    const EventText& event = eventText(state.range(0));
    std::size_t found = 0;
    for (auto _ : state) {
        const EventParser parser(event.text, search);
        found = mentions(parser.scanner);
    }
    check(found + (event.names - found) / 65536 * 65536, event);
    setBytes(state);
}

constexpr const char* pattern =
    "(?:CAN|LIN|FLEXRAY|MII)\\.signal[0-9]+|RC\\.F[0-9]+|RC\\.TRG|[DA]I\\.[0-9]+|"
    "Logger\\.(?:Status|Start|Timer|IntMemory|ExtMemory)|"
    "GPS\\.(?:Status|Time|Latitude|Longitude|Speed|Course|Date|Satellites|Altitude)";

void re2FindAndConsume(benchmark::State& state) {
    const EventText& event = eventText(state.range(0));
    const RE2 name("(" + std::string(pattern) + ")");
    std::size_t found = 0;
    for (auto _ : state) {
        re2::StringPiece rest(event.text);
        re2::StringPiece match;
        for (found = 0; RE2::FindAndConsume(&rest, name, &match); ++found) {
        }
    }
    check(found, event);
    setBytes(state);
}

#ifdef BENCH_HYPERSCAN
/// Counts names by where they begin: it tells of every end that a name could have.
struct Beginnings {
    unsigned long long last = ~0ULL;
    std::size_t count = 0;

    static int add(unsigned, unsigned long long begin, unsigned long long, unsigned, void* context) {
        auto& found = *static_cast<Beginnings*>(context);
        found.count += found.last != begin ? 1 : 0;
        found.last = begin;
        return 0;
    }
};

void hyperscan(benchmark::State& state) {
    const EventText& event = eventText(state.range(0));
    hs_database_t* database = nullptr;
    hs_compile_error_t* error = nullptr;
    hs_scratch_t* scratch = nullptr;
    hs_compile(pattern, HS_FLAG_SOM_LEFTMOST, HS_MODE_BLOCK, nullptr, &database, &error);
    hs_alloc_scratch(database, &scratch);
    Beginnings found;
    for (auto _ : state) {
        found = {};
        hs_scan(database, event.text.data(), static_cast<unsigned>(event.text.size()), 0, scratch,
                Beginnings::add, &found);
    }
    check(found.count, event);
    setBytes(state);
    hs_free_scratch(scratch);
    hs_free_database(database);
}
#endif

} // namespace

int main(int argc, char** argv) {
    const auto add = [](const char* subject, auto run) {
        for (const int share : nameShares) {
            char name[64];
            std::snprintf(name, sizeof name, "%s/names_%g%%", subject, share / 10.0);
            benchmark::RegisterBenchmark(name, run)->Arg(share)->Unit(benchmark::kMillisecond);
        }
    };
    add("EventScan", [](benchmark::State& state) { library(state, EventSearch::Points); });
    add("EventScan_scanner", [](benchmark::State& state) { library(state, EventSearch::Scanner); });
    add("EventScan_RE2", re2FindAndConsume);
#ifdef BENCH_HYPERSCAN
    add("EventScan_Hyperscan", hyperscan);
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

// How fast the values of a trace come in columns: frames a second of processor time, on one core, of one
// signal, of 20 that lie evenly over the definitions, and of all, in each layout; and the memory that the
// process had at most. Prints medians of five runs, each in a process of its own.
//
//     column_rates TRACE [CHANNEL=]DEFINITIONS...

#include "columns/ColumnStream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <exception>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace rksignal;

struct Measured {
    std::uint64_t frames;
    double seconds; ///< of processor time
    long kibibytes;
};

std::vector<std::size_t> choose(const Catalog& catalog, std::size_t wanted) {
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < wanted; ++i) {
        chosen.push_back(i * catalog.signals().size() / wanted);
    }
    return chosen;
}

void addDefinitions(Catalog& catalog, std::span<char*> names) {
    std::vector<DefinitionSource> sources;
    for (const std::string name : names) {
        const bool isBound = name.size() > 2 && name[1] == '=';
        sources.push_back(isBound ? DefinitionSource{name.substr(2), static_cast<std::uint8_t>(name[0] - '0')}
                                  : DefinitionSource{name, {}});
    }
    catalog.addDefinitions(sources);
}

/// \param wanted number of signals; 0: all
Measured measure(const char* path, std::span<char*> definitions, ColumnLayout layout, std::size_t wanted) {
    Catalog catalog;
    addDefinitions(catalog, definitions);
    Trace trace;
    trace.addFile(path);
    ColumnSettings settings{.layout = layout};
    if (wanted > 0) {
        settings.signals = choose(catalog, wanted);
    }
    ColumnStream stream(catalog, trace, settings);
    const std::clock_t start = std::clock();
    ArrowArray batch;
    while (stream.next(batch)) {
        batch.release(&batch);
    }
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    return {stream.statistics().messages(), seconds, 0};
}

/// Runs `act` in a process of its own.
template <class Act>
Measured apart(Act&& act) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error("there is no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        const Measured measured = act();
        _exit(write(ends[1], &measured, sizeof measured) == sizeof measured ? 0 : 1);
    }
    Measured measured{};
    const bool isWhole = read(ends[0], &measured, sizeof measured) == sizeof measured;
    rusage usage{};
    wait4(child, nullptr, 0, &usage);
    close(ends[0]);
    close(ends[1]);
    if (!isWhole) {
        throw std::runtime_error("a run has failed");
    }
    measured.kibibytes = usage.ru_maxrss;
    return measured;
}

Measured median(std::array<Measured, 5> runs) {
    std::ranges::sort(runs, {}, &Measured::seconds);
    return runs[runs.size() / 2];
}

void print(const char* path, std::span<char*> definitions) {
    constexpr std::pair<ColumnLayout, const char*> layouts[] = {{ColumnLayout::Message, "message"},
                                                                {ColumnLayout::Long, "long"},
                                                                {ColumnLayout::Intervals, "intervals"}};
    for (const auto& layout : layouts) {
        for (const std::size_t wanted : {1U, 20U, 0U}) {
            std::array<Measured, 5> runs{};
            std::ranges::generate(runs, [&] {
                return apart([&] { return measure(path, definitions, layout.first, wanted); });
            });
            const Measured each = median(runs);
            const std::string signals = wanted == 0 ? "all" : std::to_string(wanted);
            std::printf("%-10s %4s signals %12.0f frames/s, %ld KiB at most\n", layout.second,
                        signals.c_str(), static_cast<double>(each.frames) / each.seconds, each.kibibytes);
            std::fflush(stdout);
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs("usage: column_rates TRACE [CHANNEL=]DEFINITIONS...\n", stderr);
        return 2;
    }
    try {
        print(arguments[1], std::span(arguments + 2, static_cast<std::size_t>(count - 2)));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}

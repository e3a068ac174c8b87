#include "watch/WatchCommand.h"

#include "command/UsageError.h"
#include "decode/SignalSelection.h"
#include "output/OutputBuffer.h"
#include "text/Moment.h"
#include "watch/SlotRows.h"
#include "watch/Terminal.h"
#include "watch/WatchClock.h"
#include "watch/WatchScreen.h"

#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>
#include <optional>
#include <ostream>
#include <poll.h>

namespace rksignal {
namespace {

std::uint64_t timeOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * WatchClock::second +
           static_cast<std::uint64_t>(now.tv_nsec);
}

WatchTime timeNow() {
    return {timeOf(CLOCK_MONOTONIC), timeOf(CLOCK_REALTIME)};
}

WatchOrder orderOf(const std::string& name) {
    for (std::size_t i = 0; i < watchOrders; ++i) {
        if (name == nameOf(static_cast<WatchOrder>(i))) {
            return static_cast<WatchOrder>(i);
        }
    }
    return WatchOrder::Definition;
}

void load(const WatchOptions& options, Catalog& catalog, const Console& console) {
    DefinitionOptions definitions = options;
    definitions.definitions.insert(definitions.definitions.end(), options.files.begin(), options.files.end());
    if (definitions.definitions.empty()) {
        throw UsageError("there are no definitions that name the signals: rksignal watch FILE");
    }
    ChannelMap channels;
    InputSet inputs;
    loadDefinitions(definitions, channels, catalog, inputs);
    for (const Remark& remark : catalog.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
    for (const std::string& pattern : options.patterns) {
        catalog.addSources(pattern);
    }
}

TimeFormat timesOf(const WatchOptions& options) {
    return {options.iso ? TimeStyle::Iso : TimeStyle::Epoch, 0};
}

ExitStatus writeOnce(const WatchOptions& options, Catalog& catalog, const std::vector<bool>& wanted,
                     const Console& console) {
    WatchModel model(catalog, wanted, options.settings);
    SlotReplay slots(catalog, model, wanted);
    slots.poll();
    model.setOrder(orderOf(options.order), false);
    OutputBuffer out(console.output);
    if (options.syntax != nullptr) {
        writeSlotRows(catalog, wanted, *options.syntax, timesOf(options), out);
    } else {
        writeSlotTable(model, slots, timeNow(), out);
    }
    out.finish();
    return Clean;
}

ExitStatus writeChanges(const WatchOptions& options, Catalog& catalog, const std::vector<bool>& wanted,
                        const Console& console) {
    const EndSignals signals;
    OutputBuffer out(console.output);
    SlotRows rows(catalog, *options.syntax, timesOf(options), out);
    SlotReplay slots(catalog, rows, wanted);
    const std::uint64_t interval = options.settings.interval;
    while (!EndSignals::haveCome() && !out.closed()) {
        slots.poll();
        out.flush();
        const std::uint64_t now = timeOf(CLOCK_MONOTONIC);
        const std::uint64_t rest = (now / interval + 1) * interval - now;
        const timespec limit{static_cast<time_t>(rest / WatchClock::second),
                             static_cast<long>(rest % WatchClock::second)};
        pollfd reader{console.output, 0, 0}; // whether it has gone, though nothing is written
        if (ppoll(&reader, 1, &limit, nullptr) > 0) {
            break;
        }
    }
    out.finish();
    return EndSignals::haveCome() ? Interrupted : Clean;
}

/// Looks, draws and obeys, until it is told to end.
class Watcher {
  public:
    Watcher(const WatchOptions& options, Catalog& catalog, const std::vector<bool>& wanted)
        : clock(options.settings.interval), interval(options.settings.interval),
          model(catalog, wanted, options.settings), slots(catalog, model, wanted),
          screen(terminal, model, slots) {
        model.setOrder(orderOf(options.order), false);
    }

    ExitStatus run() {
        for (bool goesOn = true; goesOn && !EndSignals::haveCome();) {
            const WatchTime time = timeNow();
            look(time);
            if (time.steady - lastDrawn >= interval - interval / 20 && !screen.isPaused()) {
                draw(time);
            }
            const std::uint64_t now = timeOf(CLOCK_MONOTONIC);
            goesOn = terminal.wait(clock.nextLook(now) - now);
            goesOn = goesOn && obey();
        }
        return EndSignals::haveCome() ? Interrupted : Clean;
    }

  private:
    static constexpr std::uint64_t samplePeriod = WatchClock::second / 2;

    void look(const WatchTime& time) {
        model.startPoll(time, clock.areClose(lastLook, time.steady));
        slots.poll();
        if (clock.hasSettled(lastLook, time.steady)) {
            model.settleRates();
            model.sort();
        }
        if (lastLook / samplePeriod != time.steady / samplePeriod) {
            model.sample();
        }
        lastLook = time.steady;
    }

    void draw(const WatchTime& time) {
        screen.draw(time);
        lastDrawn = time.steady;
    }

    /// Keys show what they do at once.
    bool obey() {
        const Terminal::Key first = terminal.key();
        if (first == Terminal::None) {
            return true;
        }
        const bool goesOn = screen.handleKeys(first);
        draw(timeNow());
        return goesOn;
    }

    WatchClock clock;
    std::uint64_t interval;
    EndSignals signals;
    Terminal terminal;
    WatchModel model;
    SlotReplay slots;
    WatchScreen screen;
    std::uint64_t lastLook = 0;
    std::uint64_t lastDrawn = 0;
};

std::uint64_t positiveDuration(const char* option, const std::string& text) {
    constexpr std::uint64_t shortest = 1'000'000;
    const std::optional<std::uint64_t> duration = parseDuration(text);
    if (!duration || *duration < shortest) {
        throw UsageError(std::string(option) + " " + text +
                         ": not a duration of at least a millisecond, e.g. 50ms");
    }
    return *duration;
}

} // namespace

ExitStatus watch(const WatchOptions& options, const Console& console) {
    Catalog catalog;
    load(options, catalog, console);
    const std::vector<bool> wanted = selectSignals(catalog, options.patterns);
    if (options.once) {
        return writeOnce(options, catalog, wanted, console);
    }
    return options.syntax != nullptr ? writeChanges(options, catalog, wanted, console)
                                     : Watcher(options, catalog, wanted).run();
}

void addWatchCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App& command =
        *program.add_subcommand("watch", "Show the values that running processes share, as they change");
    command.add_option("FILE", options->files, "Files of definitions")->type_name("[CHANNEL=]FILE");
    addDefinitionArguments(command, *options);
    command.add_option("--only", options->patterns, "Only signals whose name matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    CLI::Option* const once =
        command.add_flag("--once", options->once, "Write the values of now as a table, and end");
    command
        .add_option_function<std::string>(
            "--format",
            [options](const std::string& name) {
                options->syntax = name == "csv" ? &csvSyntax : &jsonSyntax;
            },
            "Write rows instead of a screen: values as they change, or those of now with --once")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    command.add_flag("--iso", options->iso, "Times of rows as dates");
    command.add_option("--sort", options->order, "Order of the signals")
        ->type_name("ORDER")
        ->check(CLI::IsMember({"definition", "name", "age", "rate", "changed"}));
    command
        .add_option_function<std::string>(
            "--interval",
            [options](const std::string& text) {
                options->settings.interval = positiveDuration("--interval", text);
            },
            "Time between two looks at the values (50ms)")
        ->type_name("TIME")
        ->excludes(once);
    command
        .add_option_function<std::string>(
            "--stale",
            [options](const std::string& text) {
                options->settings.stale = positiveDuration("--stale", text);
            },
            "Age from which values are shown dim (3s, at least 3 cycle times)")
        ->type_name("TIME");
    command.add_flag("-q,--quiet", options->quiet, "No remarks, only errors");
    command.footer("Examples:\n  rksignal watch --dbc drive.dbc\n"
                   "  rksignal watch --dbc drive.dbc --only 'Engine.*' --once\n"
                   "  rksignal watch --dbc drive.dbc --format jsonl > changes.jsonl");
    command.callback([options, &console, &status] { status = watch(*options, console); });
}

} // namespace rksignal

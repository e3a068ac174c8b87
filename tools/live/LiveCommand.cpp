#include "live/LiveCommand.h"

#include "command/FileEnding.h"
#include "command/UsageError.h"
#include "live/LiveOptions.h"
#include "live/LiveRun.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace rksignal {
namespace {

void addSourceArguments(CLI::App& command, LiveOptions& options) {
    const auto addInterfaces = [&command](const std::string& name, std::vector<std::string>& interfaces,
                                          const std::string& form, const std::string& description) {
        command.add_option(name, interfaces, description)->type_name(form)->allow_extra_args(false);
    };
    command.add_option(
        "TRACE", options.traces,
        "Recorded traces, merged by time, at their own pace; - or a pipe: lines of candump -L");
    addInterfaces("--can", options.can, "INTERFACE[=CHANNEL]", "A CAN interface of Linux");
    addInterfaces("--cannelloni", options.cannelloni, "[ADDRESS:]PORT[=CHANNEL]",
                  "CAN frames in UDP packets of cannelloni, received there");
    addInterfaces("--ethernet", options.ethernet, "INTERFACE[=CHANNEL]",
                  "The frames of an Ethernet interface");
    command.add_option("--speed", options.speed, "Traces so many times as fast")
        ->type_name("FACTOR")
        ->check(CLI::PositiveNumber);
    command.add_flag("--loop", options.loop, "Traces begin again when they end");
    addDefinitionArguments(command, options);
    command.add_flag("--strict", options.strict,
                     "Decode Ethernet frames by the rules of the library alone, as the logger does");
}

void addSharedArguments(CLI::App& command, LiveOptions& options) {
    CLI::Option* const shared =
        command.add_flag("--shared", options.shared, "Values lie in shared memory, for other processes");
    command.add_option("--mode", options.mode, "Who may read and write new shared memory, e.g. 640")
        ->type_name("OCTAL")
        ->needs(shared);
    command.add_option("--group", options.group, "The group of new shared memory")
        ->type_name("NAME")
        ->needs(shared);
    command
        .add_flag("--remove-at-end", options.removeAtEnd,
                  "Remove the shared memory at the end, instead of leaving the last values")
        ->needs(shared);
}

void addRecordArguments(CLI::App& command, LiveOptions& options) {
    CLI::Option* const record =
        command
            .add_option("--record", options.record,
                        "Record what is received, to files of this name with the time in it")
            ->type_name("FILE.rktrace");
    command.add_option("--rotate-size", options.rotateSize, "Begin another file before this size, e.g. 500M")
        ->type_name("BYTES")
        ->needs(record);
    command.add_option("--rotate-time", options.rotateTime, "Begin another file after so long")
        ->type_name("SECONDS")
        ->needs(record);
    command.add_option("--keep", options.keep, "Keep so many files, and remove older ones")
        ->type_name("NUMBER")
        ->check(CLI::PositiveNumber)
        ->needs(record);
}

void addFiringArguments(CLI::App& command, LiveOptions& options) {
    addConditionArguments(command, options.conditions);
    command.add_flag("--edge", options.conditions.options.edgeTrigger,
                     "Fire only when a condition becomes true");
    CLI::Option* const explain =
        command.add_flag("--explain", options.explain, "For each firing the value of every sub-expression");
    addWindowFileArguments(command, options.windows);
    const auto setSyntax = [&options](const std::string& name) {
        options.syntax = name == "csv" ? &csvSyntax : &jsonSyntax;
    };
    command.add_option_function<std::string>("--format", setSyntax, "Form of the rows")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"csv", "jsonl"}))
        ->excludes(explain);
    addTimeStyleArgument(command, options.time);
    command.add_option("-o,--output", options.output, "Append to this file instead of standard output")
        ->type_name("FILE");
}

void addWatchingArguments(CLI::App& command, LiveOptions& options) {
    command.add_option("--timeout", options.timeout, "A signal not written for longer is stale, and unknown")
        ->type_name("SECONDS");
    command
        .add_option("--timeout-cycles", options.timeoutCycles,
                    "The same in cycles, where a message has one in its definition; 0: not (default 3)")
        ->type_name("NUMBER")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--statistics", options.statistics, "Say as often how much is received")
        ->type_name("SECONDS");
    command.add_flag("-q,--quiet", options.quiet, "No remarks, no summary, nothing of stale signals");
}

void refuseContradictions(const LiveOptions& options) {
    if (options.definitions.empty()) {
        throw UsageError("there are no definitions: --definitions gives them");
    }
    if (!options.windows.extent.empty() && options.windows.folder.empty()) {
        throw UsageError("--window requires --windows");
    }
    if (!options.record.empty() && !hasEnding(options.record, ".rktrace")) {
        throw UsageError("--record " + options.record + ": the name does not end with .rktrace");
    }
}

} // namespace

void addLiveCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<LiveOptions>();
    CLI::App& command =
        *program.add_subcommand("live", "Decode buses, networks and recorded drives as they go");
    addSourceArguments(command, *options);
    addSharedArguments(command, *options);
    addFiringArguments(command, *options);
    addWatchingArguments(command, *options);
    addRecordArguments(command, *options);
    command.footer(
        "Examples:\n"
        "  rksignal live --can can0 --dbc drive.dbc --shared --statistics 10\n"
        "  rksignal live --can can0 --dbc drive.dbc --record log/drive.rktrace --rotate-size 500M --keep 20\n"
        "  rksignal live --dbc drive.dbc --edge --when 'hot = Engine.Oil > 120' --window 5,5 --windows hot "
        "--loop drive.log\n"
        "  candump -L any | rksignal live --dbc drive.dbc --shared -");
    command.callback([options, &console, &status] {
        refuseContradictions(*options);
        status = LiveRun(*options, console).run();
    });
}

} // namespace rksignal

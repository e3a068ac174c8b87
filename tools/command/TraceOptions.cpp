#include "command/TraceOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

namespace rksignal {

void addTraceReadingArguments(CLI::App& command, TraceOptions& options) {
    command.add_option("--gps", options.gpsLogs, "The log of a GPS receiver (NMEA 0183)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_option("--shift", options.shifts, "Seconds to add to the times of a trace")
        ->type_name("FILE=SECONDS")
        ->allow_extra_args(false);
    addWindowArguments(command, options.time);
    addTimeStyleArgument(command, options.time);
    addDefinitionArguments(command, options);
}

void addReplayArguments(CLI::App& command, TraceOptions& options) {
    addTraceReadingArguments(command, options);
    command.add_flag("--strict", options.strict,
                     "Decode Ethernet frames by the rules of the library alone, as the logger does");
}

void addJobsArgument(CLI::App& command, TraceOptions& options) {
    constexpr std::size_t usual = 16; // each has a copy of the definitions, and rows that wait for their turn
    constexpr std::size_t most = 64;
    options.jobs = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, usual);
    command.add_option("--jobs", options.jobs, "Threads that read and decode; by default one a core")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, most));
}

void addTraceArguments(CLI::App& command, TraceOptions& options) {
    command.add_option("TRACE", options.traces, "Traces, merged by time; - is standard input");
    addReplayArguments(command, options);
}

void addResultArguments(CLI::App& command, TraceOptions& options) {
    command.add_option("-o,--output", options.output, "Write to this file instead of standard output")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", options.quiet, "No remarks and no summary, only errors");
}

CLI::Option* addOutputArguments(CLI::App& command, TraceOptions& options) {
    const auto setSyntax = [&options](const std::string& name) {
        options.syntax = name == "csv" ? &csvSyntax : &jsonSyntax;
    };
    CLI::Option* const format =
        command.add_option_function<std::string>("--format", setSyntax, "Form of the rows")
            ->type_name("FORMAT")
            ->check(CLI::IsMember({"csv", "jsonl"}));
    addResultArguments(command, options);
    return format;
}

} // namespace rksignal

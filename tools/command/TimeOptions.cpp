#include "command/TimeOptions.h"

#include "command/UsageError.h"

#include <CLI/CLI.hpp>

namespace rksignal {
namespace {

std::optional<Moment> parseBound(const std::string& option, const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(parseMomentArgument(option, text));
}

} // namespace

void addWindowArguments(CLI::App& command, TimeOptions& options) {
    command
        .add_option(
            "--from", options.from,
            "Only messages from this time on: seconds since 1970, +SECONDS since the start, or a date "
            "as 2026-11-22T10:00:00+01:00")
        ->type_name("TIME");
    command.add_option("--to", options.to, "Only messages up to this time")->type_name("TIME");
    command
        .add_option("--for", options.duration,
                    "Only messages of so long, from --from, up to --to, or from the start: 90, 500ms, 2min")
        ->type_name("DURATION");
}

void addTimeStyleArgument(CLI::App& command, TimeOptions& options) {
    const auto set = [&options](const std::string& name) {
        options.style = name == "iso"        ? TimeStyle::Iso
                        : name == "relative" ? TimeStyle::Relative
                                             : TimeStyle::Epoch;
    };
    command.add_option_function<std::string>("--time", set, "Form of times: epoch, relative or iso")
        ->type_name("FORM")
        ->check(CLI::IsMember({"epoch", "relative", "iso"}));
}

TimeWindow parseTimeWindow(const TimeOptions& options) {
    TimeWindow window{parseBound("--from", options.from), parseBound("--to", options.to), {}};
    if (options.duration.empty()) {
        return window;
    }
    if (window.from && window.to) {
        throw UsageError("--from, --to and --for: two of them say it all");
    }
    window.duration = parseDuration(options.duration);
    if (!window.duration) {
        throw UsageError("--for " + options.duration +
                         ": not a duration, such as 90, 0.5s, 500ms, 2min or 1h");
    }
    return window;
}

Moment parseMomentArgument(const std::string& option, const std::string& text) {
    if (const auto moment = parseMoment(text)) {
        return *moment;
    }
    throw UsageError(
        option + " " + text +
        ": not a time, such as 1700000012.5 (with at most 9 decimals), +12.5s (since the start), "
        "2026-11-22T10:00:00+01:00 or 2026-11-22T09:00:00Z");
}

} // namespace rksignal

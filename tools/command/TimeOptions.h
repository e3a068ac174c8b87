/// \file
/// The options that choose a window of time and the form of times.
#pragma once

#include "text/Moment.h"
#include "text/NumberText.h"
#include "trace/TimeWindow.h"

#include <cstdint>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

/// As given; empty: not given.
struct TimeOptions {
    std::string from;     ///< a moment
    std::string to;       ///< a moment
    std::string duration; ///< `--for`
    TimeStyle style = TimeStyle::Epoch;
};

/// Adds `--from`, `--to` and `--for`. `options` must outlive `command`, here and below.
void addWindowArguments(CLI::App& command, TimeOptions& options);
/// Adds `--time`.
void addTimeStyleArgument(CLI::App& command, TimeOptions& options);

/// \throws UsageError, which names the option, also where the three contradict each other
TimeWindow parseTimeWindow(const TimeOptions& options);

/// \throws UsageError, which names `option`
Moment parseMomentArgument(const std::string& option, const std::string& text);

} // namespace rksignal

/// \file
/// What `rksignal live` was asked for.
#pragma once

#include "command/ConditionArguments.h"
#include "command/DefinitionArguments.h"
#include "command/TimeOptions.h"
#include "output/RowFormat.h"
#include "trigger/WindowArguments.h"

#include <cstddef>
#include <string>
#include <vector>

namespace rksignal {

/// Texts are as given, and empty unless given; durations are seconds, as parseSeconds() reads them.
struct LiveOptions : DefinitionOptions {
    std::vector<std::string> traces;     ///< files at their own pace; `-` or a pipe: lines of candump
    std::vector<std::string> can;        ///< `INTERFACE[=CHANNEL]`
    std::vector<std::string> cannelloni; ///< `[ADDRESS:]PORT[=CHANNEL]`
    std::vector<std::string> ethernet;   ///< `INTERFACE[=CHANNEL]`
    double speed = 1;                    ///< of traces
    bool loop = false;                   ///< traces begin again when they end

    bool shared = false;
    std::string mode;  ///< octal
    std::string group; ///< name or number
    bool removeAtEnd = false;

    ConditionArguments conditions;
    bool explain = false; ///< explanations instead of rows
    WindowArguments windows;
    std::string output;                ///< appended to; empty: standard output
    const RowSyntax* syntax = nullptr; ///< null: CSV
    TimeOptions time;                  ///< the form of times alone

    std::string timeout;
    double timeoutCycles = 3; ///< 0: signals have no time-out of their own

    std::string record;
    std::string rotateSize; ///< bytes, with k, M or G behind it
    std::string rotateTime;
    std::size_t keep = 0; ///< record files; 0: all

    std::string statistics;
    bool strict = false;
    bool quiet = false;
};

} // namespace rksignal

/// \file
/// `rksignal watch`: shows the values that other processes share.
#pragma once

#include "Console.h"
#include "command/DefinitionArguments.h"
#include "output/RowFormat.h"
#include "watch/WatchModel.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct WatchOptions : DefinitionOptions {
    std::vector<std::string> files; ///< more definitions
    std::vector<std::string> patterns;
    std::string order = "definition";
    const RowSyntax* syntax = nullptr; ///< form of rows; null: a screen or a table
    bool once = false;
    bool quiet = false;
    bool iso = false; ///< times of rows
    WatchSettings settings = {};
};

/// Runs the command until it is told to end. \throws UsageError, Error
ExitStatus watch(const WatchOptions& options, const Console& console);

void addWatchCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

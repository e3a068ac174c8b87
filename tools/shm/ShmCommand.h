/// \file
/// `rksignal shm`: the slots in shared memory, what is wrong with them, and how that is mended.
#pragma once

#include "Console.h"
#include "command/DefinitionArguments.h"

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

enum class ShmForm : std::uint8_t { Table, Csv, Json };

struct ShmOptions : DefinitionOptions {
    std::vector<std::string> patterns; ///< of instance names; empty: all slots
    ShmForm form = ShmForm::Table;
    bool faultyOnly = false;
    bool release = false;
    bool remove = false;
    bool yes = false; ///< do not ask
};

/// Lists slots; releases and removes what it is told to, after it has asked on the terminal.
/// \return Clean, or Damaged if something is wrong that was not mended
/// \throws UsageError, Error, std::system_error
ExitStatus shm(const ShmOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addShmCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

/// \file
/// `rksignal list`: the messages and signals of definitions.
#pragma once

#include "Console.h"
#include "command/DefinitionArguments.h"
#include "list/DefinitionList.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

enum class ListForm : std::uint8_t { Table, Csv, Json, Layout };

struct ListOptions : DefinitionOptions {
    std::vector<std::string> files; ///< of definitions
    ListFilter filter;
    ListForm form = ListForm::Table;
    std::string output; ///< file name; empty: `Console::output`
    bool quiet = false; ///< no remarks, only errors
};

/// Lists the definitions. Remarks about them go to `console.messages`.
/// \return Clean, or Damaged if lines of a definition file could not be understood
/// \throws UsageError, Error, std::system_error
ExitStatus list(const ListOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addListCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

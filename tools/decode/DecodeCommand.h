/// \file
/// `rksignal decode`: turns recorded CAN traces into named values with units.
#pragma once

#include "Console.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct DecodeOptions {
    enum class Format { Default, Csv, JsonLines };

    std::vector<std::string> definitions; ///< `[CHANNEL=]FILE`, CHANNEL a number or an interface name
    std::vector<std::string> channels;    ///< `NAME=N`
    std::vector<std::string> patterns;    ///< of instance names
    std::vector<std::string> traces;      ///< file names, `-` for standard input
    std::string output;                   ///< file name; empty: `Console::output`
    Format format = Format::Default;      ///< CSV, but a table for `last`
    bool changedOnly = false;
    bool last = false;
    bool quiet = false;
};

/// Decodes the traces. Results go to the output, remarks and the summary to `console.messages`.
/// \return Clean, or Damaged if lines of a trace or of a definition file could not be understood
/// \throws UsageError, std::system_error
ExitStatus decode(const DecodeOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addDecodeCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal

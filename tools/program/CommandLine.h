/// \file
/// The commands and options of the program, as its manual page and the completions of shells need them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct OptionText {
    std::vector<std::string> names;   ///< `-o`, `--output`; of a positional argument what stands for it
    std::string value;                ///< what follows it, as `FILE`; empty: it is a flag
    std::vector<std::string> choices; ///< the only values there are; empty: it takes any
    std::string description;
    bool isPositional = false;
    bool isRequired = false;
    bool isRepeated = false;
};

struct CommandText {
    std::string name;
    std::string description;
    std::vector<OptionText> options; ///< positional arguments first
    std::string examples;            ///< lines, the first one of which is a heading; or empty
};

struct ProgramText {
    CommandText program; ///< without commands
    std::vector<CommandText> commands;
};

/// All that the parser knows, in its order; what it does not show is left out.
ProgramText describe(const CLI::App& program);

} // namespace rksignal

/// \file
/// The arguments that give a command its conditions.
#pragma once

#include "condition/Condition.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct ConditionArguments {
    std::vector<std::string> when;  ///< `[NAME=]EXPRESSION`
    std::vector<std::string> files; ///< with one of those a line
    ConditionOptions options;
    bool print = false; ///< writes the conditions as a logger takes them, instead of anything else
};

/// Adds `--when`, `--when-file`, `--allow-unknown` and `--print`. `arguments` must outlive the parsing.
void addConditionArguments(CLI::App& command, ConditionArguments& arguments);

/// Reads all conditions, the arguments first. Lines that cannot hold one go to `remarks` as errors.
/// \throws Error if a file cannot be read
std::vector<ConditionText> readConditions(const ConditionArguments& arguments, RemarkList& remarks);

/// `[NAME = ]EXPRESSION` and a line end, the expression as librksignal, and so a logger, takes it; nothing if
/// the condition cannot be used.
std::string printedCondition(const Condition& condition);

/// `PLACE: warning: MESSAGE` and a line end.
void printWithSeverity(std::ostream& out, const Remark& remark);

} // namespace rksignal

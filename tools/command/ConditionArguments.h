/// \file
/// The arguments that give a command its conditions.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"
#include "condition/Condition.h"
#include "output/InputSet.h"

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

/// Adds `--when`, `--when-file` and `--allow-unknown`. `arguments` must outlive the parsing, here and below.
void addConditionArguments(CLI::App& command, ConditionArguments& arguments);
/// Adds `--print`.
void addPrintArgument(CLI::App& command, ConditionArguments& arguments);

/// Reads all conditions, the arguments first. Lines that cannot hold one go to `remarks` as errors.
/// \throws Error if a file cannot be read
std::vector<ConditionText> readConditions(const ConditionArguments& arguments, RemarkList& remarks);

/// Reads all conditions, compiles them over the signals of `catalog`, enters their files in `inputs`, and
/// writes what there is to say about them to `console.messages`; if `quiet`, errors only. \throws UsageError
/// if one of them cannot be used, Error if a file cannot be read
std::vector<Condition> loadConditions(const ConditionArguments& arguments, Catalog& catalog, InputSet& inputs,
                                      const Console& console, bool quiet);

/// `[NAME = ]EXPRESSION` and a line end, the expression as librksignal, and so a logger, takes it; nothing if
/// the condition cannot be used.
std::string printedCondition(const Condition& condition);

/// `PLACE: warning: MESSAGE` and a line end.
void printWithSeverity(std::ostream& out, const Remark& remark);

} // namespace rksignal

/// \file
/// The arguments that give a command its conditions.
#pragma once

#include "condition/Condition.h"

#include <memory>
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
};

/// Adds `--when`, `--when-file` and `--allow-unknown`. `arguments` must outlive the parsing.
void addConditionOptions(CLI::App& command, ConditionArguments& arguments);

/// Reads, compiles and checks all conditions, the arguments first. What there is to say goes to `findings`;
/// conditions with errors are left out. Two conditions of one name are an error.
/// \throws std::system_error if a file cannot be read
std::vector<std::unique_ptr<Condition>>
loadConditions(const ConditionArguments& arguments, SignalStorage& storage, std::vector<Finding>& findings);

} // namespace rksignal

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
void addConditionArguments(CLI::App& command, ConditionArguments& arguments);

/// Reads all conditions, the arguments first. Lines that cannot hold one go to `findings` as errors.
/// \throws std::system_error if a file cannot be read
std::vector<ConditionText> readConditions(const ConditionArguments& arguments,
                                          std::vector<Finding>& findings);

/// Compiles and checks conditions with the signals of `storage`. What there is to say goes to `findings`;
/// conditions with errors, and those whose name an earlier one has, are left out.
std::vector<std::unique_ptr<Condition>> compileConditions(const std::vector<ConditionText>& texts,
                                                          SignalStorage& storage,
                                                          const ConditionOptions& options,
                                                          std::vector<Finding>& findings);

} // namespace rksignal

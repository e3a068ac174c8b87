#include "command/ConditionArguments.h"

#include "condition/ConditionCheck.h"

#include <CLI/CLI.hpp>
#include <unordered_map>
#include <utility>

namespace rksignal {

void addConditionArguments(CLI::App& command, ConditionArguments& arguments) {
    command
        .add_option("--when", arguments.when, "A condition, e.g. 'Engine.Speed > 3000 && Gear.Lever == 2'")
        ->type_name("[NAME=]EXPRESSION")
        ->allow_extra_args(false);
    command.add_option("--when-file", arguments.files, "Conditions, one a line; # starts a comment line")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_flag("--allow-unknown", arguments.options.allowUnknown,
                     "A name that no signal has counts as 0 instead of being an error");
}

std::vector<ConditionText> readConditions(const ConditionArguments& arguments,
                                          std::vector<Finding>& findings) {
    std::vector<ConditionText> conditions;
    for (const std::string& argument : arguments.when) {
        conditions.push_back(parseCondition(argument));
    }
    for (const std::string& path : arguments.files) {
        for (ConditionText& text : readConditions(path, findings)) {
            conditions.push_back(std::move(text));
        }
    }
    return conditions;
}

std::vector<std::unique_ptr<Condition>> compileConditions(const std::vector<ConditionText>& texts,
                                                          SignalStorage& storage,
                                                          const ConditionOptions& options,
                                                          std::vector<Finding>& findings) {
    std::vector<std::unique_ptr<Condition>> conditions;
    std::unordered_map<std::string, std::string> origins; // by name
    for (const ConditionText& text : texts) {
        const auto [earlier, isFree] = origins.try_emplace(text.name, text.origin);
        if (!isFree) {
            findings.push_back({text.origin, Finding::Severity::Error,
                                "the name " + text.name + " is taken, by " + earlier->second});
        } else if (auto condition = Condition::compile(text, storage, options, findings)) {
            checkCondition(*condition, findings);
            conditions.push_back(std::move(condition));
        }
    }
    return conditions;
}

} // namespace rksignal

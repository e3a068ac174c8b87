#include "command/ConditionArguments.h"

#include "text/PrintableText.h"

#include <CLI/CLI.hpp>
#include <ostream>
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
    command.add_flag("--print", arguments.print,
                     "Only write the conditions in the form that the logger takes");
}

std::vector<ConditionText> readConditions(const ConditionArguments& arguments, RemarkList& remarks) {
    std::vector<ConditionText> conditions;
    for (const std::string& argument : arguments.when) {
        conditions.push_back(parseCondition(argument, "--when"));
    }
    for (const std::string& path : arguments.files) {
        for (ConditionText& text : readConditions(path, remarks)) {
            conditions.push_back(std::move(text));
        }
    }
    return conditions;
}

std::string printedCondition(const Condition& condition) {
    if (!condition.isUsable()) {
        return {};
    }
    const bool isNamed = condition.name() != condition.expression();
    return (isNamed ? condition.name() + " = " : "") + condition.translation() + '\n';
}

void printWithSeverity(std::ostream& out, const Remark& remark) {
    out << printable(remark.place) << ": " << severityName(remark.severity) << ": "
        << printable(remark.message()) << '\n';
}

} // namespace rksignal

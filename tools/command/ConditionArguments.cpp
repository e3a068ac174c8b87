#include "command/ConditionArguments.h"

#include "command/UsageError.h"
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
}

void addPrintArgument(CLI::App& command, ConditionArguments& arguments) {
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

namespace {

void printRemarks(const RemarkList& remarks, const Console& console, bool quiet) {
    for (const Remark& remark : remarks) {
        if (!quiet || remark.severity == Severity::Error) {
            printWithSeverity(console.messages, remark);
        }
    }
}

} // namespace

std::vector<Condition> loadConditions(const ConditionArguments& arguments, Catalog& catalog, InputSet& inputs,
                                      const Console& console, bool quiet) {
    RemarkList unread;
    for (const std::string& path : arguments.files) {
        inputs.add(path);
    }
    const std::vector<ConditionText> texts = readConditions(arguments, unread);
    std::vector<Condition> conditions = compileConditions(texts, catalog, arguments.options);
    printRemarks(unread, console, quiet);
    bool isUsable = unread.count(Severity::Error) == 0;
    for (const Condition& condition : conditions) {
        printRemarks(condition.remarks(), console, quiet);
        isUsable = isUsable && condition.isUsable();
    }
    if (!isUsable) {
        throw UsageError("not all conditions can be used");
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

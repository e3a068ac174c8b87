#include "program/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

namespace rksignal {
namespace {

/// Of a value as `FORMAT:{csv,jsonl}`, which is cut to what stands before them.
std::vector<std::string> takeChoices(std::string& value) {
    std::vector<std::string> choices;
    const std::size_t open = value.find(":{");
    if (open != value.npos) {
        std::istringstream list(value.substr(open + 2, value.rfind('}') - open - 2));
        for (std::string choice; std::getline(list, choice, ',');) {
            choices.push_back(choice);
        }
        value.erase(open);
    }
    return choices;
}

OptionText describeOption(const CLI::Option& option) {
    OptionText text;
    text.isPositional = !option.nonpositional();
    text.isRequired = option.get_required();
    text.isRepeated = option.get_items_expected_max() > 1 || option.get_expected_max() > 1;
    text.description = option.get_description();
    if (text.isPositional) {
        text.names = {option.get_name(true, false)};
        return text;
    }
    for (const std::string& name : option.get_snames()) {
        text.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        text.names.push_back("--" + name);
    }
    if (option.get_expected_max() > 0) {
        text.value = option.get_type_name();
        text.choices = takeChoices(text.value);
        text.value = text.value.substr(0, text.value.find(':'));
    }
    return text;
}

CommandText describeCommand(const CLI::App& command) {
    CommandText text{command.get_name(), command.get_description(), {}, command.get_footer()};
    const auto isShown = [](const CLI::Option* option) { return !option->get_group().empty(); };
    for (const CLI::Option* option : command.get_options(isShown)) {
        text.options.push_back(describeOption(*option));
    }
    std::stable_partition(text.options.begin(), text.options.end(),
                          [](const OptionText& option) { return option.isPositional; });
    return text;
}

} // namespace

ProgramText describe(const CLI::App& program) {
    ProgramText text{describeCommand(program), {}};
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
        text.commands.push_back(describeCommand(*command));
    }
    return text;
}

} // namespace rksignal

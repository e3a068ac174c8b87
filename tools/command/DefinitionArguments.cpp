#include "command/DefinitionArguments.h"

#include "text/ParseNumber.h"
#include "trace/UsageError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <string_view>

namespace rksignal {
namespace {

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

std::uint8_t channelNumber(std::string_view text, const std::string& argument) {
    const auto number = parseNumber<std::uint8_t>(text);
    if (!number) {
        throw UsageError(argument + ": the channel is not a number from 0 to 255");
    }
    return *number;
}

std::uint8_t boundChannel(std::string_view name, const std::string& argument, ChannelMap& channels) {
    if (isNumber(name)) {
        return channelNumber(name, argument);
    }
    const auto channel = channels.channelOf(name);
    if (!channel) {
        throw UsageError(argument + ": too many different interface names");
    }
    return *channel;
}

} // namespace

void addDefinitionArguments(CLI::App& command, DefinitionOptions& options,
                            std::vector<std::string>* patterns) {
    command.add_option("--dbc", options.definitions, "Signal definitions, for one channel or for all")
        ->type_name("[CHANNEL=]FILE")
        ->allow_extra_args(false);
    const auto take = [&options, patterns](const std::string& argument) {
        if (isSignalFile(argument)) {
            options.signalFiles.push_back(argument);
        } else if (patterns != nullptr) {
            patterns->push_back(argument);
        } else {
            throw UsageError("--signals " + argument + ": a definition file ends in .json");
        }
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--signals",
            [take](const std::vector<std::string>& arguments) {
                std::for_each(arguments.begin(), arguments.end(), take);
            },
            "Definitions of signals of all kinds")
        ->type_name("FILE.json")
        ->allow_extra_args(false);
    command.add_option("--channel", options.channels, "Channel number of an interface; can0 is 0 by itself")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
}

bool isSignalFile(std::string_view path) {
    return path.ends_with(".json");
}

void assignChannels(const std::vector<std::string>& arguments, ChannelMap& channels) {
    for (const std::string& argument : arguments) {
        const std::size_t equals = argument.find('=');
        if (equals == argument.npos || equals == 0) {
            throw UsageError("--channel " + argument + ": not of the form NAME=N");
        }
        const std::string_view text(argument);
        const std::string_view name = text.substr(0, equals);
        if (channels.knows(name)) {
            throw UsageError("--channel " + argument + ": the interface has a channel already");
        }
        channels.assign(name, channelNumber(text.substr(equals + 1), "--channel " + argument));
    }
}

DefinitionArgument parseDefinitionArgument(const std::string& argument, ChannelMap& channels) {
    const std::size_t equals = argument.find('=');
    const bool isPath = equals == argument.npos || argument.find('/') < equals ||
                        std::filesystem::exists(std::filesystem::path(argument));
    if (isPath) {
        return {argument, std::nullopt};
    }
    const std::string_view name = std::string_view(argument).substr(0, equals);
    if (name.empty()) {
        throw UsageError(argument + ": no channel before '='");
    }
    return {argument.substr(equals + 1), boundChannel(name, argument, channels)};
}

void loadDefinitions(const std::vector<std::string>& arguments, ChannelMap& channels, Catalog& catalog) {
    for (const std::string& argument : arguments) {
        const DefinitionArgument file = parseDefinitionArgument(argument, channels);
        catalog.addDbc(file.path, file.channel);
    }
}

void loadDefinitions(const DefinitionOptions& options, ChannelMap& channels, Catalog& catalog) {
    assignChannels(options.channels, channels);
    loadDefinitions(options.definitions, channels, catalog);
    for (const std::string& path : options.signalFiles) {
        catalog.addJson(path);
    }
}

} // namespace rksignal

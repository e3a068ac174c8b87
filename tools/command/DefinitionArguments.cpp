#include "command/DefinitionArguments.h"

#include "command/FileEnding.h"
#include "command/UsageError.h"
#include "text/ParseNumber.h"
#include "trace/TraceFormat.h"

#include <CLI/CLI.hpp>
#include <new>
#include <string_view>
#include <unistd.h>

namespace rksignal {
namespace {

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

std::uint8_t channelNumber(std::string_view text, const std::string& argument) {
    if (const auto number = parseNumber<std::uint8_t>(text)) {
        return *number;
    }
    throw UsageError(argument + ": the channel is not a number from 0 to 255");
}

/// \throws UsageError if the file is a trace: read as definitions it would be an error in every line
void refuseTrace(const std::string& path) {
    if (const auto format = path != "-" ? detectTrace(path) : std::nullopt) {
        throw UsageError(path + " is " + formatName(*format) + ", not a file of definitions");
    }
}

/// Calls `load`. \throws UsageError if the memory does not suffice
template <class Load>
void namingFile(const std::string& path, Load&& load) {
    try {
        load();
    } catch (const std::bad_alloc&) {
        throw UsageError(path + ": too large for the memory");
    }
}

std::uint8_t boundChannel(std::string_view name, const std::string& argument, ChannelMap& channels) {
    if (isNumber(name)) {
        return channelNumber(name, argument);
    }
    const auto channel = channels.expect(name);
    if (!channel) {
        throw UsageError(argument + ": too many different interface names");
    }
    return *channel;
}

} // namespace

void addDefinitionArguments(CLI::App& command, DefinitionOptions& options) {
    command.add_option("--dbc", options.definitions, "Signal definitions, for one channel or for all")
        ->type_name("[CHANNEL=]FILE")
        ->allow_extra_args(false);
    command.add_option("--signals", options.signalFiles, "Definitions of signals of all kinds")
        ->type_name("FILE.json")
        ->allow_extra_args(false);
    command
        .add_option("--channel", options.channels,
                    "Channel of an interface: its name, FILE, or FILE:INTERFACE")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
}

bool isSignalFile(std::string_view path) {
    return hasEnding(path, ".json");
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
    const bool isPath =
        equals == argument.npos || argument.find('/') < equals || access(argument.c_str(), F_OK) == 0;
    if (isPath) {
        return {argument, std::nullopt};
    }
    const std::string_view name = std::string_view(argument).substr(0, equals);
    if (name.empty()) {
        throw UsageError(argument + ": no channel before '='");
    }
    return {argument.substr(equals + 1), boundChannel(name, argument, channels)};
}

void loadDefinitions(const DefinitionOptions& options, ChannelMap& channels, Catalog& catalog,
                     InputSet& inputs) {
    assignChannels(options.channels, channels);
    for (const std::string& argument : options.definitions) {
        const DefinitionArgument file = parseDefinitionArgument(argument, channels);
        refuseTrace(file.path);
        inputs.add(file.path);
        namingFile(file.path, [&] { catalog.addDbc(file.path, file.channel); });
    }
    for (const std::string& path : options.signalFiles) {
        if (!isSignalFile(path)) {
            throw UsageError("--signals " + path + ": the name of a definition file ends in .json" +
                             (path.find_first_of("*?[") != path.npos ? "; --only takes patterns" : ""));
        }
        refuseTrace(path);
        inputs.add(path);
        namingFile(path, [&] { catalog.addJson(path); });
    }
}

} // namespace rksignal

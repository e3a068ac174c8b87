#include "command/DefinitionArguments.h"

#include "command/FileEnding.h"
#include "command/UsageError.h"
#include "text/ParseNumber.h"
#include "trace/TraceFormat.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string_view>
#include <unistd.h>
#include <utility>

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

/// \throws UsageError if the file is a trace: read as definitions it would be an error in every line. If it
/// is a pattern
void refuseOthers(const std::string& path) {
    if (path.find_first_of("*?[") != path.npos && access(path.c_str(), F_OK) != 0) {
        throw UsageError(path + ": no such file of definitions; --only takes patterns");
    }
    if (const auto format = path != "-" ? detectTrace(path) : std::nullopt) {
        throw UsageError(path + " is " + formatName(*format) + ", not a file of definitions");
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

/// An argument of the form `[CHANNEL=]NAME`.
ClusterChoice clusterChoice(const std::string& argument, ChannelMap& channels) {
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(equals + 1); // npos + 1 is 0
    if (name.empty() || equals == 0) {
        throw UsageError("--cluster " + argument + ": not of the form NAME or CHANNEL=NAME");
    }
    if (equals == argument.npos) {
        return {name, std::nullopt};
    }
    return {name,
            boundChannel(std::string_view(argument).substr(0, equals), "--cluster " + argument, channels)};
}

constexpr std::string_view formats = "DBC, JSON, LDF, KCD, SYM, ARXML";

} // namespace

void addDefinitionArguments(CLI::App& command, DefinitionOptions& options) {
    const auto add = [&](const std::string& name,
                         const std::string& description) { // they are called in order
        command
            .add_option_function<std::vector<std::string>>(
                name,
                [&options](const std::vector<std::string>& files) {
                    options.definitions.insert(options.definitions.end(), files.begin(), files.end());
                },
                description)
            ->type_name("[CHANNEL=]FILE")
            ->allow_extra_args(false);
    };
    add("--dbc", "As --definitions");
    add("--definitions", "Definitions of signals (" + std::string(formats) + "), for one channel or for all");
    add("--signals", "As --definitions");
    command.add_option("--cluster", options.clusters, "Read only these clusters of ARXML and KCD files")
        ->type_name("[CHANNEL=]NAME")
        ->allow_extra_args(false);
    command
        .add_option("--channel", options.channels,
                    "Channel of an interface: its name, FILE, or FILE:INTERFACE")
        ->type_name("NAME=N")
        ->allow_extra_args(false);
}

bool isDefinitionFile(const std::string& path) {
    constexpr const char* endings[] = {".dbc", ".json", ".ldf", ".kcd", ".sym", ".arxml"};
    return std::any_of(std::begin(endings), std::end(endings),
                       [&path](const char* ending) { return hasEnding(path, ending); }) ||
           (path != "-" && detectDefinitions(path));
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

DefinitionSource parseDefinitionArgument(const std::string& argument, ChannelMap& channels) {
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

std::vector<DefinitionFile> readDefinitions(const DefinitionOptions& options, ChannelMap& channels,
                                            InputSet& inputs) {
    assignChannels(options.channels, channels);
    std::vector<DefinitionSource> sources;
    for (const std::string& argument : options.definitions) {
        DefinitionSource& source = sources.emplace_back(parseDefinitionArgument(argument, channels));
        refuseOthers(source.path);
        inputs.add(source.path);
    }
    DefinitionSettings settings;
    for (const std::string& argument : options.clusters) {
        settings.clusters.push_back(clusterChoice(argument, channels));
    }
    return readDefinitions(sources, settings);
}

void loadDefinitions(const DefinitionOptions& options, ChannelMap& channels, Catalog& catalog,
                     InputSet& inputs) {
    for (DefinitionFile& file : readDefinitions(options, channels, inputs)) {
        catalog.add(std::move(file));
    }
}

} // namespace rksignal

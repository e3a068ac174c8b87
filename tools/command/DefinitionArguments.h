/// \file
/// The arguments that bind definition files and interfaces to channels.
#pragma once

#include "catalog/Catalog.h"
#include "definition/DefinitionReader.h"
#include "output/InputSet.h"
#include "trace/ChannelMap.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

/// What a command gets its definitions from.
struct DefinitionOptions {
    std::vector<std::string> definitions; ///< `[CHANNEL=]FILE`, CHANNEL a number or an interface name
    std::vector<std::string> clusters;    ///< `[CHANNEL=]NAME`
    std::vector<std::string> channels;    ///< `NAME=N`
};

/// Adds `--definitions` and its shorter names `--dbc` and `--signals`, `--cluster` and `--channel`. Files of
/// `--dbc` come first, those of `--signals` last. `options` must outlive `command`.
void addDefinitionArguments(CLI::App& command, DefinitionOptions& options);

/// Whether the file is one of definitions, by the end of its name or by its content. \throws Error
bool isDefinitionFile(const std::string& path);

/// Enters arguments of the form `NAME=N`. \throws UsageError
void assignChannels(const std::vector<std::string>& arguments, ChannelMap& channels);

/// Takes an argument `[CHANNEL=]FILE` apart. CHANNEL is a channel number or an interface name. An argument
/// that is the name of a file, or has a `/` before its first `=`, has no CHANNEL. \throws UsageError
DefinitionSource parseDefinitionArgument(const std::string& argument, ChannelMap& channels);

/// Reads all files in their order, after the channels, and enters them in `inputs`. \throws UsageError, Error
std::vector<DefinitionFile> readDefinitions(const DefinitionOptions& options, ChannelMap& channels,
                                            InputSet& inputs);

/// Reads all files so into a catalog.
void loadDefinitions(const DefinitionOptions& options, ChannelMap& channels, Catalog& catalog,
                     InputSet& inputs);

} // namespace rksignal

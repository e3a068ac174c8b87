/// \file
/// The arguments that bind definition files and interfaces to channels.
#pragma once

#include "catalog/Catalog.h"
#include "output/InputSet.h"
#include "trace/ChannelMap.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

/// What a command gets its definitions from.
struct DefinitionOptions {
    std::vector<std::string> definitions; ///< `[CHANNEL=]FILE`, CHANNEL a number or an interface name
    std::vector<std::string> signalFiles; ///< of definitions of all kinds
    std::vector<std::string> channels;    ///< `NAME=N`

    bool empty() const { return definitions.empty() && signalFiles.empty(); }
};

/// Adds `--dbc`, `--signals` and `--channel`. `options` must outlive `command`.
void addDefinitionArguments(CLI::App& command, DefinitionOptions& options);

/// Whether the name is that of a definition file of all kinds, by its end `.json`.
bool isSignalFile(std::string_view path);

/// Enters arguments of the form `NAME=N`. \throws UsageError
void assignChannels(const std::vector<std::string>& arguments, ChannelMap& channels);

/// An argument of the form `[CHANNEL=]FILE`.
struct DefinitionArgument {
    std::string path;
    std::optional<std::uint8_t> channel;
};

/// Takes an argument apart. CHANNEL is a channel number or an interface name. An argument that is the name
/// of a file, or has a `/` before its first `=`, has no CHANNEL. \throws UsageError
DefinitionArgument parseDefinitionArgument(const std::string& argument, ChannelMap& channels);

/// Reads all files, DBC files first, after the channels, and enters them in `inputs`. \throws UsageError,
/// Error
void loadDefinitions(const DefinitionOptions& options, ChannelMap& channels, Catalog& catalog,
                     InputSet& inputs);

} // namespace rksignal

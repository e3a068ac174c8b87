/// \file
/// The arguments that bind definition files and interfaces to channels.
#pragma once

#include "replay/Catalog.h"
#include "trace/ChannelMap.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace rksignal {

/// Adds `--dbc`, which is returned, and `--channel`, the arguments of the functions below. They must outlive
/// the parsing.
CLI::Option* addDefinitionArguments(CLI::App& command, std::vector<std::string>& definitions,
                                    std::vector<std::string>& channels);

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

/// Reads the files of such arguments, in their order.
/// \throws UsageError, std::system_error if a file cannot be read
void loadDefinitions(const std::vector<std::string>& arguments, ChannelMap& channels, Catalog& catalog);

} // namespace rksignal

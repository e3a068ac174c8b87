/// \file
/// Files of definitions, whatever their format.
#pragma once

#include "definition/ClusterChoice.h"
#include "definition/Definition.h"
#include "text/Export.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

enum class DefinitionFormat : std::uint8_t { Dbc, Json, Ldf, Kcd, Sym, Arxml };

/// `a DBC file`
RKREPLAY_EXPORT std::string_view formatName(DefinitionFormat format);

/// The format of the file `path`, which may be compressed, by its content. \return nothing if it is none of
/// them \throws Error if the file cannot be opened or read
RKREPLAY_EXPORT std::optional<DefinitionFormat> detectDefinitions(const std::string& path);

struct DefinitionSource {
    std::string path;                    ///< `-` is standard input
    std::optional<std::uint8_t> channel; ///< to which its messages are bound; none: frames of all channels
};

struct DefinitionSettings {
    /// Which clusters are read of files that have such; all if there are none.
    std::vector<ClusterChoice> clusters;
};

/// Reads each file, which may be compressed, once, whatever its format: in the order of `sources`, except
/// that all ARXML files of the same channel are read together, as the first of them, since they refer to each
/// other. A JSON file that has no channels of its own can be bound to one.
/// \throws RemarkError if there is anything in a JSON file that is not understood
/// \throws Error if a file cannot be read, is of no known format or too large for the memory, if a JSON file
/// that names channels is bound to one, or if no file has a cluster that is chosen
RKREPLAY_EXPORT std::vector<DefinitionFile> readDefinitions(std::span<const DefinitionSource> sources,
                                                            const DefinitionSettings& settings = {});

} // namespace rksignal

/// \file
/// Definition files, read once for any number of runs.
#pragma once

#include "Module.h"

#include "catalog/Catalog.h"
#include "definition/Definition.h"
#include "definition/DefinitionReader.h"
#include "trace/ChannelMap.h"
#include "trace/TraceFormat.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace rksignal::python {

/// A channel by its number or by the name of its interface.
using ChannelName = std::optional<std::variant<std::uint8_t, std::string>>;

/// A file, or a cluster of files, with the channel to which it is bound.
struct BoundName {
    std::string name;
    ChannelName channel;
};

/// What definition files say. Does not change: any number of threads may make catalogs of it at the same
/// time, each of which is for one thread.
class Definitions {
  public:
    /// \throws Error
    Definitions(const std::vector<BoundName>& sources, const std::vector<BoundName>& clusters,
                const std::map<std::string, std::uint8_t>& channels);

    /// The signals, ready to be decoded. Takes time and memory in proportion to the files.
    std::unique_ptr<Catalog> catalog() const;
    /// The channels of interfaces that the definitions name: what a trace shall start with.
    const ChannelMap& channels() const { return interfaces; }
    /// The messages with the signals that are decoded, under the names of their instances.
    const std::vector<MessageDefinition>& messages() const { return decoded; }
    const RemarkList& remarks() const { return said; }

  private:
    std::optional<std::uint8_t> channelOf(const ChannelName& name);

    ChannelMap interfaces;
    std::vector<DefinitionFile> files;
    std::vector<MessageDefinition> decoded;
    RemarkList said;
};

void bindDefinitions(nb::module_& module);

} // namespace rksignal::python

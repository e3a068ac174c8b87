/// \file
/// KCD files, an open XML format for the messages and signals of CAN buses (NetworkDefinition 1.0).
#pragma once

#include "definition/ClusterChoice.h"
#include "definition/Definition.h"
#include "text/Export.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// Reads KCD text. Never throws because of the content, but for its size (XmlDocument::maxSize). `path` only
/// names the text in remarks and places. Without `choices` all buses are read, and bound to `channel`; with
/// them those that they name, each bound to its own channel if that is given.
///
/// Signals have the instance name `Message.Signal`; a name that a message has twice gets `#2`. A big endian
/// offset counts bits from the most significant one of the first byte on. A message without length, or with
/// `auto`, ends with its last signal; one of more than 8 bytes is one of CAN FD. A `Multiplex` is a signal,
/// those of its groups depend on it; what it lacks of a signal has the default values. Of a `LabelSet`,
/// labels and groups of up to 256 values become value texts; the one label of type `invalid`, if there is no
/// other, also the invalid value. `Var` elements of nodes are on no bus, and are not kept.
RKREPLAY_EXPORT DefinitionFile parseKcd(std::string text, std::string path,
                                        std::optional<std::uint8_t> channel = {},
                                        const std::vector<ClusterChoice>& choices = {});

} // namespace rksignal

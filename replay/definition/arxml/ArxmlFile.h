/// \file
/// ARXML files: AUTOSAR system descriptions and ECU extracts, which say what the frames of all buses carry.
///
/// Reads AUTOSAR 3 and 4 (System Template). Files that refer to each other are read together as one model.
/// Reading is tolerant, as that of DBC files: what is not well-formed, leads nowhere or cannot be mapped is
/// remarked once with line and AUTOSAR path and costs only itself.
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

struct ArxmlText {
    std::string text;
    std::string path; ///< names it in remarks and places
};

/// Reads ARXML texts as one model. Never throws because of the content. The `path` of the result is that of
/// the first text. Without a choice all clusters are read and bound to `channel`; otherwise those chosen,
/// each bound to the channel of its choice, or to `channel`.
///
/// Messages of CAN are frames, named as the frame is, with all PDUs that have a fixed place in them; a PDU in
/// a container with headers is a message of its own, named as the PDU is. Signals are named as I-SIGNALs, in
/// instances `Message.Signal`. Of a multiplexed PDU the selector is a signal `FRAME_selectorN`, of a secured
/// one freshness value and authenticator are raw signals `FRAME_Freshness` and `FRAME_Authenticator`.
///
/// Takes time and memory in proportion to the texts, about 5 bytes a byte. \throws Error if they are longer
/// than 1 GB
RKREPLAY_EXPORT DefinitionFile parseArxml(std::vector<ArxmlText> texts,
                                          std::optional<std::uint8_t> channel = {},
                                          const std::vector<ClusterChoice>& clusters = {});

/// Reads the files `paths`, which may be compressed, with parseArxml().
/// \throws Error if one cannot be opened or read, or none is AUTOSAR XML
RKREPLAY_EXPORT DefinitionFile readArxml(std::span<const std::string> paths,
                                         std::optional<std::uint8_t> channel = {},
                                         const std::vector<ClusterChoice>& clusters = {});

} // namespace rksignal

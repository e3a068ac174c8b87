/// \file
/// The definitions of the frames that a survey has found.
#pragma once

#include "catalog/Catalog.h"
#include "survey/FrameIdentity.h"
#include "text/Export.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// Looks up messages of CAN, LIN and FlexRay by identity; those of other kinds are not found.
class RKREPLAY_EXPORT DefinedFrames {
  public:
    /// `catalog` is complete and outlives the object, which may add instances for senders of parameter
    /// groups.
    explicit DefinedFrames(Catalog& catalog);

    /// In the order of definition.
    std::vector<const MessageDefinition*> of(const FrameIdentity& identity);
    /// Their names, each once, joined by `, `; of a message without one the names of its signals.
    std::string namesOf(const FrameIdentity& identity);

  private:
    using Key = std::pair<SignalKind, std::uint32_t>;

    Catalog& catalog;
    std::multimap<Key, const MessageDefinition*> others; ///< those of LIN and FlexRay
};

} // namespace rksignal

/// \file
/// The order in which the signals of a multiplexed message are examined.
#pragma once

#include "definition/Definition.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace rksignal {

/// A signal's place in the tree of its message, listed parents first: a multiplexer, then everything that
/// depends on it, then its next sibling. Siblings keep the order of the message.
struct MultiplexNode {
    std::size_t signal;                ///< index in `MessageDefinition::signals`
    std::optional<std::size_t> parent; ///< index in the list of the multiplexer it depends on
    std::size_t branchEnd;             ///< index in the list behind everything that depends on it
};

/// Lists the signals of `message` that are `usable`, by index. A signal whose multiplexer is not listed is
/// not listed either. Takes linear time.
std::vector<MultiplexNode> multiplexTree(const MessageDefinition& message, const std::vector<bool>& usable);

/// Which signals that list has, by index.
std::vector<bool> reachableSignals(const MessageDefinition& message, const std::vector<bool>& usable);

} // namespace rksignal

/// \file
/// The order in which the signals of a multiplexed message are examined.
#pragma once

#include "definition/dbc/DbcFile.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace rksignal {

/// A signal's place in the tree of its message, listed parents first: a multiplexer, then everything that
/// depends on it, then its next sibling. Siblings keep the order of the message.
struct MultiplexNode {
    std::size_t signal;                ///< index in `DbcMessage::signals`
    std::optional<std::size_t> parent; ///< index in the list of the multiplexer it depends on
    std::size_t branchEnd;             ///< index in the list behind everything that depends on it
};

/// Lists the signals of `message` for which `usable(index)` holds. A signal whose multiplexer is not listed
/// is not listed either.
std::vector<MultiplexNode> multiplexTree(const DbcMessage& message, const std::vector<bool>& usable);

} // namespace rksignal

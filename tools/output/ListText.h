/// \file
/// Lists in the summary of a command.
#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>

namespace rksignal {

constexpr std::size_t maxListed = 10; ///< items that are written out

/// Writes `a, b, c` and how many more there are, on one line. `print` writes an item.
template <class Items, class Print>
void printList(std::ostream& out, const Items& items, Print&& print) {
    const std::size_t listed = std::min(items.size(), maxListed);
    for (std::size_t i = 0; i < listed; ++i) {
        out << (i == 0 ? "" : ", ");
        print(items[i]);
    }
    if (listed < items.size()) {
        out << " and " << items.size() - listed << " more";
    }
    out << '\n';
}

} // namespace rksignal

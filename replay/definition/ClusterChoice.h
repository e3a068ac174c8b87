/// \file
/// Which buses of a description of several are read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// A cluster of an ARXML file or a bus of a KCD file.
struct ClusterChoice {
    std::string name;
    std::optional<std::uint8_t> channel; ///< to which its messages are bound; none: as the file is
};

/// The choice of the cluster `name`; null if it is not chosen by name. Where there are no choices, all
/// clusters are read.
inline const ClusterChoice* choiceOf(const std::vector<ClusterChoice>& choices, std::string_view name) {
    const auto choice = std::find_if(choices.begin(), choices.end(),
                                     [name](const ClusterChoice& each) { return each.name == name; });
    return choice != choices.end() ? &*choice : nullptr;
}

} // namespace rksignal

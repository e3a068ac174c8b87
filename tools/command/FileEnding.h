/// \file
/// What the name of a file says it is.
#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace rksignal {

/// Whether `path` ends in `ending`, which is in lower case; `.DBC` is `.dbc` too.
inline bool hasEnding(std::string_view path, std::string_view ending) {
    const auto same = [](unsigned char letter, char lower) { return std::tolower(letter) == lower; };
    return path.size() >= ending.size() && std::equal(path.end() - static_cast<std::ptrdiff_t>(ending.size()),
                                                      path.end(), ending.begin(), same);
}

} // namespace rksignal

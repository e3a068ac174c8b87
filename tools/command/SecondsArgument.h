/// \file
/// Times and durations as arguments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace rksignal {

/// Reads seconds with at most 9 decimals (`2`, `0.5`, `1700000012.345678`) exactly.
/// \return nanoseconds \throws UsageError, which names `option`
std::uint64_t parseSeconds(const std::string& option, std::string_view text);

} // namespace rksignal

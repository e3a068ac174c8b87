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

/// The same with a sign in front, `-0.5`.
std::int64_t parseSignedSeconds(const std::string& option, std::string_view text);

} // namespace rksignal

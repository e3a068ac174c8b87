/// \file
/// Sizes of files as arguments.
#pragma once

#include <cstdint>
#include <string>

namespace rksignal {

/// Reads a number of bytes, also with `k`, `M` or `G` behind it, for 1000, 1000² and 1000³: `500M`.
/// \throws UsageError, which names `option`, if it is none, or 0
std::uint64_t parseByteCount(const std::string& option, const std::string& text);

} // namespace rksignal

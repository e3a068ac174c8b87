/// \file
/// Bytes as text that stands in a page.
#pragma once

#include <string>
#include <string_view>

namespace rksignal {

/// Base64 (RFC 4648, 4) of the bytes, compressed as gzip (RFC 1952) without a time: the same for the same
/// bytes. \throws std::bad_alloc
std::string packedText(std::string_view bytes);

} // namespace rksignal

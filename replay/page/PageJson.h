/// \file
/// JSON that stands in a page.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace rksignal {

using PageJson = nlohmann::ordered_json;

/// The document as valid UTF-8 that can stand in a script element of a page: what could end the element,
/// begin a comment or be taken for markup is escaped, as are U+2028 and U+2029. Bytes that are no UTF-8
/// become U+FFFD.
std::string elementText(const PageJson& document);

/// An integer where it is one that all readers have exactly, else the number; null if it is not finite.
PageJson pageNumber(double value);

/// `text`, or the first `limit` bytes of it and `...`; no character is cut apart.
std::string boundedText(std::string_view text, std::size_t limit);

/// Null if it is empty.
PageJson textOrNull(const std::string& text);

} // namespace rksignal

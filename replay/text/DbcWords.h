/// \file
/// The vocabulary of the DBC format: its keywords, names and quoted texts.
#pragma once

#include <string>
#include <string_view>

namespace rksignal {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Whether DBC text has statements that start with `word`.
bool isDbcKeyword(std::string_view word);

/// Whether `word` is a name as the format wants it: letters, digits and underscores, no digit first.
bool isDbcIdentifier(std::string_view word);

/// The text of a quoted string: `\"` stands for a quote, other backslashes for themselves, and line ends
/// become \n.
std::string unquoted(std::string_view quoted);

} // namespace rksignal

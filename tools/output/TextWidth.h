/// \file
/// How much room text takes on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace rksignal {

/// The cells that UTF-8 text takes, whatever the locale: two for wide characters, as those of Chinese, none
/// for combining ones; one for each control character and for each byte that is not valid UTF-8.
std::size_t textWidth(std::string_view text);

/// The text, or, where it takes more than `cells`, as many of its first characters as fit before an `…`.
/// Nothing if there are no cells.
std::string shortened(std::string_view text, std::size_t cells);

} // namespace rksignal

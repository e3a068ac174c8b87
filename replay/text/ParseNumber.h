/// \file
/// Text as numbers, whatever the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace rksignal {

/// The number that `text` begins with, which is taken off `text`; nothing if there is none, or if it does not
/// fit. No blanks, no `+`; integers of other bases have no prefix.
template <class Number, class... Base>
std::optional<Number> takeNumber(std::string_view& text, Base... base) {
    Number number = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number, base...);
    if (status != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/// The same of the whole of `text`.
template <class Number, class... Base>
std::optional<Number> parseNumber(std::string_view text, Base... base) {
    const auto number = takeNumber<Number>(text, base...);
    return text.empty() ? number : std::nullopt;
}

} // namespace rksignal

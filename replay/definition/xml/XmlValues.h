/// \file
/// What attributes and elements of XML definitions say.
#pragma once

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace rksignal {

/// All text in an element, that of elements in it too, without blanks at the ends. Takes linear time.
std::string elementText(pugi::xml_node element);

/// An integer, decimal or with `0x`, blanks around it; nothing if it is none or does not fit. A negative one
/// is given in two's complement.
std::optional<std::uint64_t> integerIn(std::string_view text);

/// A finite floating-point number, blanks around it; nothing if it is none.
std::optional<double> numberIn(std::string_view text);

} // namespace rksignal

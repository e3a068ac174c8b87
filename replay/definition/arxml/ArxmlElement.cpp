/// \file
/// What single elements of AUTOSAR XML say.
#include "definition/arxml/ArxmlModel.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace rksignal {
namespace {

/// Text of an element that may hold line breaks and the like as elements.
std::string mixedText(pugi::xml_node element) {
    std::string text = element.child_value();
    for (const pugi::xml_node part : element.children()) {
        const std::string_view more = part.type() == pugi::node_element ? part.child_value() : part.value();
        if (!more.empty()) {
            text.append(text.empty() ? "" : " ").append(more);
        }
    }
    return text;
}

/// The text of a multi-language element, whose children are L-1 to L-10 or are paragraphs of these.
std::string preferredText(pugi::xml_node texts, const char* tag) {
    std::string best;
    int rank = 0;
    for (const pugi::xml_node each : texts.children(tag)) {
        const std::string_view language = each.attribute("L").value();
        const int thisRank = language == "EN" || language == "en"        ? 3
                             : language == "FOR-ALL" || language.empty() ? 2
                                                                         : 1;
        if (thisRank > rank) {
            std::string text = mixedText(each);
            if (!text.empty()) {
                best = std::move(text);
                rank = thisRank;
            }
        }
    }
    return best;
}

/// The base of a whole number and the digits behind its prefix.
int takeBase(std::string_view& digits) {
    if (digits.size() < 2 || digits[0] != '0') {
        return 10;
    }
    switch (digits[1]) {
    case 'x':
    case 'X':
        digits.remove_prefix(2);
        return 16;
    case 'b':
    case 'B':
        digits.remove_prefix(2);
        return 2;
    default:
        return digits.find_first_not_of("01234567") == digits.npos ? 8 : 10;
    }
}

} // namespace

/// The name stands first by the schema; an element without one may have any number of children.
std::string_view arxmlName(pugi::xml_node element) {
    pugi::xml_node child = element.first_child();
    while (child && child.type() != pugi::node_element) {
        child = child.next_sibling();
    }
    return std::string_view(child.name()) == "SHORT-NAME" ? child.child_value() : "";
}

pugi::xml_node arxmlChild(pugi::xml_node parent, std::initializer_list<const char*> tags) {
    for (const char* tag : tags) {
        if (const pugi::xml_node child = parent.child(tag)) {
            return child;
        }
    }
    return {};
}

std::string_view arxmlText(pugi::xml_node parent, std::initializer_list<const char*> tags) {
    return arxmlChild(parent, tags).child_value();
}

pugi::xml_node arxmlAt(pugi::xml_node parent, std::initializer_list<const char*> path) {
    for (const char* tag : path) {
        parent = parent.child(tag);
    }
    return parent;
}

pugi::xml_node arxmlVariant(pugi::xml_node element) {
    const std::string tag = element.name();
    const pugi::xml_node variant =
        element.child((tag + "-VARIANTS").c_str()).child((tag + "-CONDITIONAL").c_str());
    return variant ? variant : element;
}

std::string arxmlComment(pugi::xml_node element) {
    std::string text = preferredText(element.child("DESC"), "L-2");
    if (!text.empty()) {
        return text;
    }
    text = preferredText(element.child("LONG-NAME"), "L-4");
    return text == arxmlName(element) ? std::string() : text;
}

std::optional<std::uint64_t> arxmlUnsigned(std::string_view text) {
    std::string_view digits = text;
    const int base = takeBase(digits);
    if (const auto whole = parseNumber<std::uint64_t>(digits, base)) {
        return whole;
    }
    const auto number = arxmlNumber(text);
    constexpr double limit = 18446744073709551616.0; // 2^64
    return number && *number >= 0 && *number < limit && std::trunc(*number) == *number
               ? std::optional(static_cast<std::uint64_t>(*number))
               : std::nullopt;
}

std::uint32_t arxmlCount(pugi::xml_node parent, std::initializer_list<const char*> tags) {
    const auto number = arxmlUnsigned(arxmlText(parent, tags));
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(number.value_or(0), std::numeric_limits<std::uint32_t>::max()));
}

std::optional<double> arxmlNumber(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    std::string_view digits = text.substr(isNegative || text.starts_with('+') ? 1 : 0);
    if (digits == "true" || digits == "false") {
        return digits == "true" ? 1 : 0;
    }
    if (digits == "INF" || digits == "NaN") {
        const double special = digits == "INF" ? std::numeric_limits<double>::infinity()
                                               : std::numeric_limits<double>::quiet_NaN();
        return isNegative ? -special : special;
    }
    const std::string_view whole = digits;
    const int base = takeBase(digits);
    std::optional<double> number;
    if (base != 10) {
        if (const auto value = parseNumber<std::uint64_t>(digits, base)) {
            number = static_cast<double>(*value);
        }
    } else if (!whole.starts_with('-')) {
        number = parseNumber<double>(whole);
    }
    return number && isNegative ? -*number : number;
}

} // namespace rksignal

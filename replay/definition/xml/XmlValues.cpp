#include "definition/xml/XmlValues.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>

namespace rksignal {
namespace {

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first); // npos + 1 is 0
}

struct TextCollector : pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& node) override {
        text += node.value();
        return true;
    }
    std::string text;
};

} // namespace

std::string elementText(pugi::xml_node element) {
    TextCollector collector;
    collector.text = element.value();
    element.traverse(collector);
    return std::string(withoutBlanks(collector.text));
}

std::optional<std::uint64_t> integerIn(std::string_view text) {
    text = withoutBlanks(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return parseNumber<std::uint64_t>(text.substr(2), 16);
    }
    if (text.starts_with('-')) {
        const auto negative = parseNumber<std::int64_t>(text);
        return negative ? std::optional(static_cast<std::uint64_t>(*negative)) : std::nullopt;
    }
    return parseNumber<std::uint64_t>(text.substr(text.starts_with('+') ? 1 : 0));
}

std::optional<double> numberIn(std::string_view text) {
    text = withoutBlanks(text);
    const auto number = parseNumber<double>(text.substr(text.starts_with('+') ? 1 : 0));
    return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace rksignal

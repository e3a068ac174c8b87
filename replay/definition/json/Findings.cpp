#include "definition/json/Findings.h"

#include "definition/json/DefinitionFile.h"

#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t maxTexts = 20;
constexpr std::size_t maxShown = 40;

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : "\n") + text;
    }
    return all;
}

} // namespace

DefinitionError::DefinitionError(std::vector<std::string> texts)
    : Error(joined(texts)), lines(std::move(texts)) {}

void Findings::add(const Place& place, const std::string& text) {
    keep(name + "#" + place.to_string() + ": " + text);
}

void Findings::expected(const std::string& what, const JsonValue& found, const Place& place) {
    add(place, "expected " + what + ", found " + shownValue(found));
}

void Findings::addAt(std::size_t line, std::size_t column, const std::string& text) {
    keep(name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + text);
}

void Findings::throwIfAny() const {
    if (total == 0) {
        return;
    }
    std::vector<std::string> lines = texts;
    if (total > lines.size()) {
        lines.push_back(name + ": " + std::to_string(total - lines.size()) + " more errors");
    }
    throw DefinitionError(std::move(lines));
}

void Findings::keep(std::string text) {
    if (++total <= maxTexts) {
        texts.push_back(std::move(text));
    }
}

std::string shownValue(const JsonValue& value) {
    if (value.is_array()) {
        return "an array";
    }
    if (value.is_object()) {
        return "an object";
    }
    std::string text = value.dump();
    if (text.size() <= maxShown) {
        return text;
    }
    std::size_t end = maxShown;
    while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) { // not within a UTF-8 character
        --end;
    }
    return text.substr(0, end) + "...";
}

} // namespace rksignal

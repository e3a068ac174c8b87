#include "definition/json/Findings.h"

namespace rksignal {

void Findings::expected(const std::string& what, const JsonValue& found, const Place& place) {
    add(place, "expected " + what + ", found " + shownValue(found));
}

void Findings::addAt(std::size_t line, std::size_t column, std::string text) {
    remarks.add({name + ":" + std::to_string(line) + ":" + std::to_string(column),
                 Severity::Error,
                 std::move(text),
                 {},
                 line});
}

void Findings::throwIfAny() {
    if (count() > 0) {
        RemarkList all;
        all.append(std::move(remarks), name);
        throw RemarkError(std::move(all));
    }
}

std::string shownValue(const JsonValue& value) {
    constexpr std::size_t maxShown = 40;
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

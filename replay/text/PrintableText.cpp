#include "text/PrintableText.h"

#include "text/TextEncoding.h"

#include <utility>

namespace rksignal {
namespace {

void appendEscaped(std::string& out, char byte) {
    constexpr const char* digits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    out.append("\\x").append(1, digits[value >> 4]).append(1, digits[value & 0xF]);
}

/// Characters that set the direction of writing: U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069.
bool setsDirection(std::string_view character) {
    return character == "\u061C" || (character >= "\u200E" && character <= "\u200F") ||
           (character >= "\u202A" && character <= "\u202E") ||
           (character >= "\u2066" && character <= "\u2069");
}

/// Whether the first character of `text`, which is valid UTF-8, could change what the reader sees of others;
/// its length.
std::pair<bool, std::size_t> isControl(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first == 0xC2) {
        return {static_cast<unsigned char>(text[1]) < 0xA0, 2};
    }
    if (first < 0xC0) {
        return {first < 0x20 || first == 0x7F, 1};
    }
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    return {setsDirection(text.substr(0, length)), length};
}

void appendValid(std::string& out, std::string_view text) {
    while (!text.empty()) {
        const auto [isEscaped, length] = isControl(text);
        for (const char byte : text.substr(0, length)) {
            if (isEscaped) {
                appendEscaped(out, byte);
            } else {
                out += byte;
            }
        }
        text.remove_prefix(length);
    }
}

} // namespace

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t valid = findInvalidUtf8(text).value_or(text.size());
        appendValid(out, text.substr(0, valid));
        text.remove_prefix(valid);
        if (!text.empty()) {
            appendEscaped(out, text.front());
            text.remove_prefix(1);
        }
    }
    return out;
}

} // namespace rksignal

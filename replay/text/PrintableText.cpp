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

/// The number of the first character of `text`, which is of two or three bytes of UTF-8.
unsigned codePoint(std::string_view text, std::size_t length) {
    unsigned value = static_cast<unsigned char>(text[0]) & (length == 2 ? 0x1FU : 0x0FU);
    for (const char byte : text.substr(1, length - 1)) {
        value = value << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return value;
}

/// Whether a character sets the direction of writing.
bool setsDirection(unsigned character) {
    return character == 0x061C || character == 0x200E || character == 0x200F ||
           (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
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
    return {length < 4 && setsDirection(codePoint(text, length)), length};
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

/// \file
/// UTF-8 check and conversion from Windows-1252.
#include "text/TextEncoding.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace rksignal {

namespace {

/// The characters of the bytes 80 to 9F; all other bytes are their own character.
constexpr std::array<std::uint16_t, 32> windows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::uint8_t byteAt(std::string_view text, std::size_t offset) {
    return static_cast<std::uint8_t>(text[offset]);
}

/// The second byte decides about overlong forms, surrogates and the end of the code range.
bool isSecondByte(std::uint8_t first, std::uint8_t second) {
    switch (first) {
    case 0xE0:
        return second >= 0xA0 && second <= 0xBF;
    case 0xED:
        return second >= 0x80 && second <= 0x9F;
    case 0xF0:
        return second >= 0x90 && second <= 0xBF;
    case 0xF4:
        return second >= 0x80 && second <= 0x8F;
    default:
        return (second & 0xC0) == 0x80;
    }
}

/// For a byte above 7F; 0 if no sequence starts with it.
std::size_t sequenceLength(std::uint8_t first) {
    if (first >= 0xC2 && first <= 0xDF)
        return 2;
    if (first >= 0xE0 && first <= 0xEF)
        return 3;
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

bool isSequence(std::string_view text, std::size_t offset, std::size_t length) {
    if (length == 0 || length > text.size() - offset)
        return false;
    if (!isSecondByte(byteAt(text, offset), byteAt(text, offset + 1)))
        return false;
    for (std::size_t i = 2; i < length; ++i)
        if ((byteAt(text, offset + i) & 0xC0) != 0x80)
            return false;
    return true;
}

/// For characters of the basic plane.
void appendUtf8(std::string& out, std::uint16_t character) {
    if (character >= 0x800) {
        out += static_cast<char>(0xE0 | (character >> 12));
        out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
    } else {
        out += static_cast<char>(0xC0 | (character >> 6));
    }
    out += static_cast<char>(0x80 | (character & 0x3F));
}

/// The character of a valid sequence of two bytes or three.
std::uint32_t characterAt(std::string_view text, std::size_t length) {
    std::uint32_t character = byteAt(text, 0) & (length == 2 ? 0x1FU : 0x0FU);
    for (std::size_t i = 1; i < length; ++i)
        character = character << 6 | (byteAt(text, i) & 0x3FU);
    return character;
}

std::optional<char> windows1252Of(std::uint32_t character) {
    if (character >= 0xA0 && character <= 0xFF)
        return static_cast<char>(character);
    const auto* const high = std::find(windows1252High.begin(), windows1252High.end(), character);
    if (high == windows1252High.end())
        return std::nullopt;
    return static_cast<char>(0x80 + (high - windows1252High.begin()));
}

} // namespace

std::optional<std::size_t> findInvalidUtf8(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::uint8_t first = byteAt(text, offset);
        if (first < 0x80) {
            ++offset;
            continue;
        }
        const std::size_t length = sequenceLength(first);
        if (!isSequence(text, offset, length))
            return offset;
        offset += length;
    }
    return std::nullopt;
}

std::string windows1252ToUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (const char c : text) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte < 0x80)
            out += c;
        else
            appendUtf8(out, byte < 0xA0 ? windows1252High[byte - 0x80U] : byte);
    }
    return out;
}

std::optional<std::string> utf8ToWindows1252(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t offset = 0; offset < text.size();) {
        const std::uint8_t first = byteAt(text, offset);
        if (first < 0x80) {
            out += text[offset++];
            continue;
        }
        const std::size_t length = sequenceLength(first);
        if (length == 4 || !isSequence(text, offset, length))
            return std::nullopt;
        const auto byte = windows1252Of(characterAt(text.substr(offset), length));
        if (!byte)
            return std::nullopt;
        out += *byte;
        offset += length;
    }
    return out;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

} // namespace rksignal

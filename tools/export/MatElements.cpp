#include "export/MatElements.h"

namespace rksignal::mat {
namespace {

enum class DataType : std::uint32_t {
    Int8 = 1,
    Uint16 = 4,
    Int32 = 5,
    Uint32 = 6,
    Double = 9,
    Matrix = 14,
};

enum class ArrayClass : std::uint8_t { Cell = 1, Char = 4, Double = 6 };

constexpr std::size_t tagLength = 8;

void appendLittle(std::string& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes += static_cast<char>(value >> 8 * i & 0xFF);
    }
}

void appendTag(std::string& bytes, DataType type, std::uint64_t length) {
    appendLittle(bytes, static_cast<std::uint32_t>(type), 4);
    appendLittle(bytes, length, 4);
}

void pad(std::string& bytes) {
    bytes.append((8 - bytes.size() % 8) % 8, '\0');
}

/// Flags, dimensions and name: what every array begins with.
std::string arrayHead(ArrayClass kind, std::uint64_t rows, std::uint64_t columns, std::string_view name) {
    std::string bytes;
    appendTag(bytes, DataType::Uint32, 8);
    appendLittle(bytes, static_cast<std::uint8_t>(kind), 8);
    appendTag(bytes, DataType::Int32, 8);
    appendLittle(bytes, rows, 4);
    appendLittle(bytes, columns, 4);
    appendTag(bytes, DataType::Int8, name.size());
    bytes += name;
    pad(bytes);
    return bytes;
}

std::string matrix(const std::string& content) {
    std::string bytes;
    appendTag(bytes, DataType::Matrix, content.size());
    return bytes + content;
}

/// The UTF-16 code units of valid UTF-8.
std::u16string utf16(std::string_view text) {
    std::u16string units;
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        char32_t point = length == 1 ? first : first & (0x7FU >> length);
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k) {
            point = point << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
        }
        if (point >= 0x10000) {
            units += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
            point = 0xDC00 + ((point - 0x10000) & 0x3FF);
        }
        units += static_cast<char16_t>(point);
        i += length;
    }
    return units;
}

} // namespace

std::string fileHead() {
    constexpr std::size_t textLength = 116;
    constexpr std::size_t subsystemLength = 8;
    std::string bytes = "MATLAB 5.0 MAT-file, written by rksignal";
    bytes.resize(textLength, ' ');
    bytes.append(subsystemLength, '\0');
    appendLittle(bytes, 0x0100, 2); // version
    return bytes + "IM";
}

std::string columnHead(std::string_view variable, std::uint64_t rows) {
    const std::uint64_t length = rows * sizeof(double);
    const std::string head = arrayHead(ArrayClass::Double, rows, 1, variable);
    std::string bytes;
    appendTag(bytes, DataType::Matrix, head.size() + tagLength + length);
    bytes += head;
    appendTag(bytes, DataType::Double, length);
    return bytes;
}

std::string textElement(std::string_view variable, std::string_view text) {
    const std::u16string units = utf16(text);
    std::string bytes = arrayHead(ArrayClass::Char, units.empty() ? 0 : 1, units.size(), variable);
    appendTag(bytes, DataType::Uint16, units.size() * sizeof(char16_t));
    for (const char16_t unit : units) {
        appendLittle(bytes, unit, sizeof unit);
    }
    pad(bytes);
    return matrix(bytes);
}

std::string cellArray(std::string_view variable, const std::vector<std::vector<std::string>>& rows) {
    const std::size_t columns = rows.empty() ? 0 : rows.front().size();
    std::string bytes = arrayHead(ArrayClass::Cell, rows.size(), columns, variable);
    for (std::size_t column = 0; column < columns; ++column) {
        for (const auto& row : rows) {
            bytes += textElement("", row[column]);
        }
    }
    return matrix(bytes);
}

} // namespace rksignal::mat

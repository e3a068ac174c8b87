/// \file
/// The elements of MAT-files of level 5, as "MATLAB MAT-File Format" lays them out (chapter 1, level 5).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal::mat {

/// What a file starts with: a text, the version, and the order of its bytes, which is little endian.
std::string fileHead();

/// The bytes of one variable that a level 5 file can hold.
constexpr std::uint64_t largestVariable = 0x7FFF'FFFF;

/// What stands before the numbers of a column of doubles; these follow, little endian, and nothing else.
std::string columnHead(std::string_view variable, std::uint64_t rows);

/// A variable, or a cell of an array if it has no name, that holds a text. `text` is UTF-8.
std::string textElement(std::string_view variable, std::string_view text);

/// An array of cells with texts, row by row. REQUIRES: all rows are of the same length.
std::string cellArray(std::string_view variable, const std::vector<std::vector<std::string>>& rows);

} // namespace rksignal::mat

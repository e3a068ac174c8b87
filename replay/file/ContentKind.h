/// \file
/// What a file is that is not what was expected.
#pragma once

#include <string_view>

namespace rksignal {

inline constexpr std::string_view plainText = "plain text";
inline constexpr std::string_view officeDocument = "an Office document"; // a ZIP archive
inline constexpr std::string_view unknownData = "binary data of no known kind";

/// What begins with `head`, as far as that can be told: `a PNG picture`, `a DBC file`, `UTF-16 text`,
/// `an empty file`, failing that `plainText` or `unknownData`. Some thousand bytes suffice.
std::string_view contentKind(std::string_view head);

/// Whether the line starts a statement of a DBC file, as `VERSION ""`, `NS_ :` or `BO_ 291 Engine: 8 X`.
bool isDbcStatement(std::string_view line);

/// Whether a line of the text's first 64 KB begins with a word of a DBC file.
bool holdsDbcStatement(std::string_view text);

} // namespace rksignal

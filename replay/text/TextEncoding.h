/// \file
/// Brings text of unknown encoding to UTF-8: signal files of older tools are written in Windows-1252 and do
/// not say so.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace rksignal {

/// The offset of the first byte that is not part of valid UTF-8 (no overlong forms, no surrogates, nothing
/// above U+10FFFF); nothing if the text is valid.
std::optional<std::size_t> findInvalidUtf8(std::string_view text);

/// Windows-1252 as UTF-8. The five bytes without a character there (81, 8D, 8F, 90, 9D) become the control
/// characters of the same number, U+0081 and so on, so that no byte is lost.
std::string windows1252ToUtf8(std::string_view text);

/// UTF-8 as Windows-1252, so that windows1252ToUtf8() gives the same again; nothing if it has other
/// characters, or is no UTF-8.
std::optional<std::string> utf8ToWindows1252(std::string_view text);

/// `text` without the UTF-8 byte order mark it may start with.
std::string_view withoutByteOrderMark(std::string_view text);

} // namespace rksignal

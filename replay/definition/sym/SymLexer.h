/// \file
/// The statements of SYM text.
#pragma once

#include "definition/DefinitionNotes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

enum class SymKind : std::uint8_t {
    Section, ///< `{SEND}`
    Symbol,  ///< `[Name]`
    Entry,   ///< `Key=rest`
};

/// One statement: a line, or several of an enumeration.
struct SymStatement {
    SymKind kind = SymKind::Entry;
    std::string key;     ///< of an entry; else the name in the brackets, without quotes
    std::string rest;    ///< of an entry: behind the sign, without the comment
    std::string comment; ///< behind `//`, of the last line, without blanks around it
    unsigned line = 0;   ///< the first one
};

/// All statements. Lines that are none are said in `notes`.
std::vector<SymStatement> readSymStatements(std::string_view text, DefinitionNotes& notes);

/// The words of an entry, without their quotes: `A /u:"km h" 0, 8` are `A`, `/u:km h` and `0,8`.
std::vector<std::string> symWords(std::string_view rest);

} // namespace rksignal

/// \file
/// The words and symbols of a condition.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace rksignal {

enum class TokenKind : std::uint8_t {
    Name,        ///< of a signal, a word for a number, or a word that means nothing
    Number,      ///< decimal
    Hexadecimal, ///< what starts with `0x`, whether or not it is a number
    Text,        ///< in quotes, which may be single ones
    OpenText,    ///< with no closing quote
    Symbol,
};

struct Token {
    TokenKind kind;
    std::string_view text; ///< a part of the expression
};

/// Takes an expression apart as the scanner of librksignal does, which knows no texts and no hexadecimal
/// numbers, and reads a sign before a decimal number as part of it. Blanks and comment lines are left out.
std::vector<Token> conditionTokens(std::string_view expression);

/// Whether the character ends the name of a signal.
bool endsName(char character);

/// Whether librksignal takes the word for a number: `active`, `ok`, ...
bool isNumberWord(std::string_view word);

} // namespace rksignal

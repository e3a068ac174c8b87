#include "condition/ConditionTokens.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view decimalDigits = "0123456789";
constexpr std::string_view alphanumeric = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";

bool isLetter(char character) {
    return alphanumeric.find(character, decimalDigits.size()) != alphanumeric.npos;
}

bool isDecimalDigit(char character) {
    return decimalDigits.find(character) != decimalDigits.npos;
}

/// Index of the first character from `start` on that is none of `characters`.
std::size_t skip(std::string_view text, std::string_view characters, std::size_t start) {
    return std::min(text.find_first_not_of(characters, start), text.size());
}

/// Index behind a decimal number at `start`.
std::size_t numberEnd(std::string_view text, std::size_t start) {
    std::size_t end = skip(text, decimalDigits, start);
    if (end < text.size() && text[end] == '.') {
        end = skip(text, decimalDigits, end + 1);
    }
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        const std::size_t sign = end + 1;
        const bool isSigned = sign < text.size() && (text[sign] == '+' || text[sign] == '-');
        const std::size_t digits = sign + (isSigned ? 1 : 0);
        const std::size_t exponentEnd = skip(text, decimalDigits, std::min(digits, text.size()));
        end = exponentEnd > digits ? exponentEnd : end;
    }
    return end;
}

/// Index behind the closing quote of the text at `start`, or 0 if there is none.
std::size_t textEnd(std::string_view text, std::size_t start) {
    for (std::size_t i = start + 1; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == text[start]) {
            ++i;
        } else if (text[i] == text[start]) {
            return i + 1;
        }
    }
    return 0;
}

/// Length of the longest symbol that the text starts with. Some are none of the language.
std::size_t symbolLength(std::string_view text) {
    constexpr std::string_view symbols[] = {
        "===", "!==", "==", "!=", "<=", ">=", "=<", "=>", "<>", "&&", "||"};
    const auto* const symbol = std::find_if(std::begin(symbols), std::end(symbols),
                                            [text](std::string_view each) { return text.starts_with(each); });
    return symbol != std::end(symbols) ? symbol->size() : 1;
}

/// The token that starts at `start`, which is no blank.
Token tokenAt(std::string_view text, std::size_t start) {
    const auto until = [&](TokenKind kind, std::size_t end) {
        return Token{kind, text.substr(start, end - start)};
    };
    const char first = text[start];
    if (isLetter(first)) {
        const auto* const end = std::find_if(text.begin() + start, text.end(), endsName);
        return until(TokenKind::Name, static_cast<std::size_t>(end - text.begin()));
    }
    if (first == '0' && start + 1 < text.size() && (text[start + 1] == 'x' || text[start + 1] == 'X')) {
        return until(TokenKind::Hexadecimal, skip(text, alphanumeric, start));
    }
    const bool isPoint = first == '.' && start + 1 < text.size() && isDecimalDigit(text[start + 1]);
    if (isDecimalDigit(first) || isPoint) {
        return until(TokenKind::Number, numberEnd(text, start));
    }
    if (first == '"' || first == '\'') {
        const std::size_t end = textEnd(text, start);
        return end != 0 ? until(TokenKind::Text, end) : until(TokenKind::OpenText, text.size());
    }
    return until(TokenKind::Symbol, start + symbolLength(text.substr(start)));
}

} // namespace

bool endsName(char character) {
    constexpr std::string_view ends = "\0 \t\r\n!&()*+,-/:<=>|"sv;
    return ends.find(character) != ends.npos;
}

bool isNumberWord(std::string_view word) {
    constexpr std::string_view words[] = {"released", "low",      "ok",     "void",    "pressed",
                                          "high",     "error",    "active", "warning", "pressed_long",
                                          "nosync",   "fwupdate", "mem",    "ring"};
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

std::vector<Token> conditionTokens(std::string_view expression) {
    constexpr std::string_view blanks = " \t\r";
    std::vector<Token> tokens;
    bool startsLine = true;
    for (std::size_t at = skip(expression, blanks, 0); at < expression.size();
         at = skip(expression, blanks, at)) {
        const std::size_t lineEnd =
            startsLine && expression[at] == '#' ? expression.find('\n', at) : expression.npos;
        if (lineEnd != expression.npos) {
            at = lineEnd + 1;
            continue;
        }
        tokens.push_back(tokenAt(expression, at));
        startsLine = expression[at] == '\n';
        at += tokens.back().text.size();
    }
    return tokens;
}

} // namespace rksignal

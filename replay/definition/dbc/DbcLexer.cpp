/// \file
/// Words, numbers and statement boundaries of DBC text.
#include "definition/dbc/DbcLexer.h"

#include "text/DbcWords.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace rksignal {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

constexpr auto wordEnds = [] {
    std::array<bool, 256> ends{};
    for (const char c : std::string_view(" \t\r\f\v\n:;,|@()[]\""))
        ends[static_cast<unsigned char>(c)] = true;
    return ends;
}();

bool endsWord(char c) {
    return wordEnds[static_cast<unsigned char>(c)];
}

std::string_view wordAt(std::string_view text, std::size_t position) {
    std::size_t end = position;
    while (end < text.size() && !endsWord(text[end]))
        ++end;
    return text.substr(position, end - position);
}

/// What a number beyond the range of double becomes; from_chars does not say on which side it is.
double clampedNumber(std::string_view digits) {
    const bool negative = digits.starts_with('-');
    const std::size_t exponent = digits.find_first_of("eE");
    const bool tiny = exponent != std::string_view::npos ? digits.substr(exponent + 1).starts_with('-')
                                                         : digits.substr(negative).starts_with('0');
    const double magnitude = tiny ? 0 : std::numeric_limits<double>::max();
    return negative ? -magnitude : magnitude;
}

} // namespace

std::string_view DbcLexer::begin() {
    failure.clear();
    skipBlanks();
    start = position;
    startLine = currentLine;
    const std::string_view first = wordAt(text, position);
    position += first.size();
    return first;
}

bool DbcLexer::atEnd() {
    skipBlanks();
    return position == text.size();
}

char DbcLexer::peek() {
    if (!ok())
        return 0;
    const std::size_t before = position;
    const unsigned lineBefore = currentLine;
    skipBlanks();
    const char next = position < text.size() ? text[position] : '\0';
    position = before;
    currentLine = lineBefore;
    return next;
}

char DbcLexer::peekOnLine() {
    if (!ok())
        return 0;
    skipSpaces();
    return atLineEnd() ? '\0' : text[position];
}

bool DbcLexer::accept(char character) {
    if (peek() != character || character == 0)
        return false;
    skipBlanks();
    ++position;
    return true;
}

void DbcLexer::expect(char character) {
    if (!accept(character))
        fail(std::string("'") + character + "'");
}

std::string_view DbcLexer::word() {
    if (!ok())
        return {};
    skipBlanks();
    if (const std::string_view found = quotedName(); !found.empty())
        return found;
    const std::string_view found = wordAt(text, position);
    if (found.empty())
        fail("a name");
    position += found.size();
    return found;
}

/// A name between apostrophes on one line, which some editors write; empty if there is none.
std::string_view DbcLexer::quotedName() {
    constexpr char apostrophe = '\'';
    if (position == text.size() || text[position] != apostrophe)
        return {};
    const std::size_t close = text.find_first_of("'\"\n", position + 1);
    if (close == std::string_view::npos || text[close] != apostrophe)
        return {};
    const std::string_view found = text.substr(position + 1, close - position - 1);
    if (!found.empty())
        position = close + 1;
    return found;
}

std::string_view DbcLexer::wordOnLine() {
    const char next = peekOnLine();
    return next == 0 || endsWord(next) ? std::string_view() : word();
}

std::uint64_t DbcLexer::integer() {
    accept('+');
    if (!ok())
        return 0;
    skipBlanks();
    std::string_view rest = text.substr(position);
    const auto value = takeNumber<std::uint64_t>(rest);
    if (!value) {
        fail("an integer of at most 64 bits");
        return 0;
    }
    position = text.size() - rest.size();
    return *value;
}

std::uint64_t DbcLexer::signedInteger() {
    const bool negative = accept('-');
    const std::uint64_t magnitude = integer();
    if (negative && magnitude > std::uint64_t{1} << 63)
        fail("an integer of at most 64 bits", "-" + std::to_string(magnitude));
    return negative ? 0 - magnitude : magnitude;
}

double DbcLexer::number(bool& clamped) {
    accept('+');
    if (!ok())
        return 0;
    skipBlanks();
    const std::string_view digits = wordAt(text, position);
    double value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool readable =
        result.ec != std::errc::invalid_argument && result.ptr == digits.data() + digits.size();
    const bool alphabetic = digits.find_first_of("nN") != std::string_view::npos; // inf and nan
    if (!readable || alphabetic) {
        fail("a number");
        return 0;
    }
    position += digits.size();
    if (result.ec == std::errc::result_out_of_range) {
        clamped = true;
        return clampedNumber(digits);
    }
    return value;
}

std::string_view DbcLexer::quoted() {
    if (peek() != '"') {
        fail("a quoted text");
        return {};
    }
    skipBlanks();
    std::size_t close = position < unclosedFrom ? text.find('"', position + 1) : std::string_view::npos;
    while (close != std::string_view::npos && text[close - 1] == '\\')
        close = text.find('"', close + 1);
    if (close == std::string_view::npos) {
        unclosedFrom = std::min(unclosedFrom, position);
        fail("a quoted text with an end");
        return {};
    }
    const std::string_view found = text.substr(position + 1, close - position - 1);
    currentLine += static_cast<unsigned>(std::count(found.begin(), found.end(), '\n'));
    position = close + 1;
    return found;
}

bool DbcLexer::end() {
    if (!ok() || accept(';'))
        return true;
    if (peekOnLine() != 0)
        fail("';'");
    return false;
}

void DbcLexer::skipLine() {
    position = std::min(text.find('\n', position), text.size());
}

void DbcLexer::fail(std::string_view what) {
    if (!ok())
        return;
    skipBlanks();
    failure.append("expected ").append(what).append(", found ").append(excerpt());
}

void DbcLexer::fail(std::string_view what, std::string_view found) {
    if (ok())
        failure.append("expected ").append(what).append(", found '").append(found).append("'");
}

void DbcLexer::skipStatement() {
    while (ok()) {
        const char next = peekOnLine();
        if (next == '"') {
            quoted();
        } else if (!atLineEnd()) {
            position += std::max<std::size_t>(wordAt(text, position).size(), 1);
            if (next == ';')
                return;
        } else if (!nextLine() || lineStartsWithKeyword()) {
            return;
        }
    }
}

void DbcLexer::recover() {
    position = start;
    currentLine = startLine;
    while (nextLine() && !lineStartsWithKeyword())
        continue;
}

void DbcLexer::skipSymbolList() {
    skipLine();
    while (position < text.size()) {
        const std::size_t end = std::min(text.find('\n', position + 1), text.size());
        DbcLexer content(text.substr(position, end - position));
        content.begin();
        if (!content.atEnd())
            return;
        position = end;
        ++currentLine;
    }
}

void DbcLexer::skipBlanks() {
    do
        skipSpaces();
    while (atLineEnd() && nextLine());
}

/// \return false at the end of the text
bool DbcLexer::nextLine() {
    skipLine();
    if (position == text.size())
        return false;
    ++position;
    ++currentLine;
    return true;
}

void DbcLexer::skipSpaces() {
    while (position < text.size() && isSpace(text[position]))
        ++position;
}

bool DbcLexer::atLineEnd() const {
    return position == text.size() || text[position] == '\n' ||
           (text[position] == '/' && text.substr(position, 2) == "//");
}

bool DbcLexer::lineStartsWithKeyword() const {
    std::size_t first = position;
    while (first < text.size() && isSpace(text[first]))
        ++first;
    return isDbcKeyword(wordAt(text, first));
}

/// The next word, or the next character if there is none, in quotes.
std::string DbcLexer::excerpt() const {
    if (position == text.size())
        return "the end of the text";
    constexpr std::size_t longest = 40;
    std::string_view next = wordAt(text, position);
    if (next.empty())
        next = text.substr(position, 1);
    if (next.size() <= longest)
        return "'" + std::string(next) + "'";
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(next[end]) & 0xC0) == 0x80) // not within a character
        --end;
    return "'" + std::string(next.substr(0, end)) + "...'";
}

} // namespace rksignal

/// \file
/// Cuts DBC text into words, numbers and quoted strings, and finds the starts of its statements.
///
/// DBC has no tokens that stand for themselves: `8@1+` or `m3` mean something only in their place. So the
/// lexer is asked for what the statement needs next. Everything it returns is a view of the text.
///
/// The first read that does not find what it was asked for fails; from then on every read returns an empty
/// value and moves nothing, until begin(). A statement is thus read straight through and asked for ok() once,
/// at its end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace rksignal {

class DbcLexer {
  public:
    /// `text` must outlive the lexer and all views taken from it.
    explicit DbcLexer(std::string_view text) : text(text) {}

    /// Goes to the next statement and returns its first word, which is empty for a statement that starts with
    /// no word, and at the end of the text. Clears a failure.
    std::string_view begin();
    /// Whether only blanks and comments are left.
    bool atEnd();
    unsigned line() const { return currentLine; }
    /// The line on which the current statement began.
    unsigned statementLine() const { return startLine; }

    /// The next character that is not blank, 0 at the end of the text. Moves nothing.
    char peek();
    /// The same on the current line, 0 at its end.
    char peekOnLine();
    bool accept(char character);
    void expect(char character);
    /// Everything up to a blank or one of `:;,|@()[]"`, or what stands between two apostrophes on a line.
    std::string_view word();
    /// The same, but empty rather than a failure if there is none on the current line.
    std::string_view wordOnLine();
    /// Decimal, at most 64 bits, with an optional `+`.
    std::uint64_t integer();
    /// The same with an optional `-`: a negative number as its two's complement.
    std::uint64_t signedInteger();
    /// A finite number, independent of the locale. What a double cannot hold becomes the closest one it can,
    /// and sets `clamped`.
    double number(bool& clamped);
    /// The text between two quotes, as written.
    std::string_view quoted();
    /// The `;` at the end. It may be missing before the end of a line.
    /// \return whether it was there
    bool end();
    void skipLine();

    /// Fails, if nothing has failed yet, with "expected `what`, found" and what comes next in the text.
    void fail(std::string_view what);
    void fail(std::string_view what, std::string_view found);
    bool ok() const { return failure.empty(); }
    const std::string& failureText() const { return failure; }

    /// Ends a statement that is not wanted: behind its `;`, or before the next line that starts with a
    /// keyword. Fails at a quoted text without an end.
    void skipStatement();
    /// Ends a statement that failed: before the next line that starts with a keyword. The search begins at
    /// the statement's second line, because the failed read may have gone far beyond it.
    void recover();
    /// Ends the list of keywords behind `NS_ :`: they stand alone on their lines.
    void skipSymbolList();

  private:
    void skipBlanks();
    void skipSpaces();
    bool nextLine();
    bool atLineEnd() const;
    bool lineStartsWithKeyword() const;
    std::string_view quotedName();
    std::string excerpt() const;

    std::string_view text;
    std::size_t position = 0;
    unsigned currentLine = 1;
    std::size_t start = 0;
    unsigned startLine = 1;
    std::string failure;
    /// No quoted text that begins here or later has an end. Without it, a text full of them takes quadratic
    /// time.
    std::size_t unclosedFrom = std::string_view::npos;
};

} // namespace rksignal

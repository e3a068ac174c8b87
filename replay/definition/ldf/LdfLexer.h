/// \file
/// The words of LDF text.
#pragma once

#include "definition/DefinitionNotes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace rksignal {

struct LdfToken {
    std::string_view text; ///< a word, a sign, or what stands between quotes; empty at the end of the text
    bool isQuoted = false;
    unsigned line = 1;

    bool is(char sign) const { return !isQuoted && text.size() == 1 && text.front() == sign; }
    bool is(std::string_view word) const { return !isQuoted && text == word; }
    bool isEnd() const { return text.empty() && !isQuoted; }
    bool isWord() const;
};

/// Gives the tokens one by one; comments (`//` and `/* */`) and blanks are none.
class LdfLexer {
  public:
    /// Both must outlive the lexer.
    LdfLexer(std::string_view text, DefinitionNotes& notes) : text(text), notes(notes) { advance(); }

    const LdfToken& peek() const { return token; }
    LdfToken take();
    /// Takes the token if it is this sign.
    bool accept(char sign);

  private:
    void advance();
    void skipBlanks();
    void skip(std::size_t size);

    std::string_view text; ///< behind the token
    DefinitionNotes& notes;
    unsigned line = 1;
    LdfToken token;
};

/// `12` or `0x0C`.
std::optional<std::uint64_t> ldfInteger(std::string_view text);

} // namespace rksignal

/// \file
/// The scanner of expressions, with its place in the text.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#ifndef yyFlexLexer // else this is the generated scanner, which has done it
#define yyFlexLexer expFlexLexer
#include <FlexLexer.h>
#undef yyFlexLexer
#endif

/// Knows where in the text its tokens lie, so that a message can quote the text around one: the scanner's own
/// buffer is overwritten and moved while it reads.
class ExpLexer : public expFlexLexer {
  public:
    int yylex() override;

    /// Remembers where the last token began, for `excerpt`, and reads the next one. \return its code
    int next();

    /// Line on which the token before the last one ended.
    int excerptLine() const { return excerptsLine; }
    /// The part of `text`, the text that is read, from the token before the last one up to the last one's
    /// end. Empty if there has been no token before.
    std::string excerpt(const std::string& text) const;

  private:
    /// Called by the scanner for all that it matches, also for what it skips.
    void advance() { position += static_cast<std::size_t>(YYLeng()); }

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::size_t position = 0; ///< behind what has been read
    std::size_t tokenBegin = none;
    std::size_t excerptBegin = none;
    int excerptsLine = 1;
};

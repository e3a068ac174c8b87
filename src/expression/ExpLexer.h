/// \file
/// The scanner of expressions, with its place in the text.
#pragma once

#include "expression/ExpError.h"

#include <cstddef>
#include <memory>
#include <string_view>

#ifndef yyFlexLexer // else this is the generated scanner, which has done it
#define yyFlexLexer expFlexLexer
#include <FlexLexer.h>
#undef yyFlexLexer
#endif

/// Scans one text, while an expression is built. Knows where in the text its tokens lie, so that a message
/// can quote the text around one: the scanner's own buffer is overwritten and moved while it reads.
class ExpLexer : public expFlexLexer {
  public:
    /// `text` must outlive it.
    explicit ExpLexer(std::string_view text);

    int yylex() override;

    /// Remembers where the last token began, for `errorAtToken`, and reads the next one. \return its code
    int next();

    /// An error at the last token.
    ExpError errorAtToken(ExpError::Kind kind, const char* message) const;

  protected:
    int LexerInput(char* buffer, int size) override;

  private:
    /// Called by the scanner for all that it matches, also for what it skips.
    void advance() { position += static_cast<std::size_t>(YYLeng()); }

    std::string_view text;
    std::size_t handedOver = 0; ///< bytes that the scanner's buffer has got
    std::size_t position = 0;   ///< behind what has been read
    std::size_t tokenBegin = std::string_view::npos;
    std::size_t excerptBegin = std::string_view::npos; ///< of the token before the last one; none: npos
    int excerptLine = 1;                               ///< on which that token ended
};

/// What stands for the scanner of an expression that is built: at the end of its text, and the same one for
/// all, so that no scanner is kept behind an expression. Any number of threads may ask it for tokens.
std::shared_ptr<expFlexLexer> spentLexer();

/// Reports an error at the last token to `parser`, an `ExpParser`.
void reportAtToken(void* parser, ExpError::Kind kind, const char* message);

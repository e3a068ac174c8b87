/// \file
/// The scanner of expressions, with its place in the text.
#pragma once

#include "expression/ExpError.h"

#include <cstddef>
#include <streambuf>
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

    /// An error at the last token, which has been read from `text`.
    ExpError errorAtToken(ExpError::Kind kind, const char* message, const std::string& text) const;

    /// Frees the buffer and forgets the stream, which may go. From then on there is nothing left to read,
    /// unless another stream is given.
    void release();

  private:
    /// A stream buffer with nothing in it.
    struct Nothing : std::streambuf {};

    /// The part of `text` from the token before the last one up to the last one's end. Empty if there has
    /// been no token before.
    std::string excerpt(const std::string& text) const;

    /// Called by the scanner for all that it matches, also for what it skips.
    void advance() { position += static_cast<std::size_t>(YYLeng()); }

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::size_t position = 0; ///< behind what has been read
    std::size_t tokenBegin = none;
    std::size_t excerptBegin = none;
    int excerptLine = 1; ///< on which the token before the last one ended
    Nothing nothing;
    char noText = '\0'; ///< what the last token is once its buffer is freed
};

/// Reports an error at the last token to `parser`, an `ExpParser`.
void reportAtToken(void* parser, ExpError::Kind kind, const char* message);

/// \file
/// What is wrong with the text of an expression.
#pragma once

#include "signal/Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

/// One error in the text of an expression, as `ExpParser::errors` keeps it. `operator<<` writes it as the
/// line that is printed on standard error, without the `[ERROR] ` in front of it and its end.
struct ExpError {
    enum class Kind : std::uint8_t {
        Syntax,        ///< the text is no expression
        LongName,      ///< a name has 128 characters or more
        DeepNesting,   ///< the text is nested too deeply for the parser's stack of 10,000 entries
        UnknownSignal, ///< no signal has the name: the constant 0 stands for it
    };

    Kind kind = Kind::Syntax;
    std::string message; ///< what is wrong, in words: "syntax error"
    /// Counted from 1. Of an unknown signal, the line with its name; otherwise the line that the parser had
    /// reached before it read the token that it could not use.
    int line = 1;
    /// The text from the token before the unusable one up to the end of that one, which is the line end if
    /// the expression stops too early. Empty if the first token is unusable, and for an unknown signal.
    std::string excerpt;
    std::string name; ///< the unknown or too long name; otherwise empty
    /// How many steps the program had when the error was found. For an unknown signal this is the index of
    /// the step that holds the constant 0 in its place.
    std::size_t step = 0;

    /// Whether it leaves the expression unusable. Only an unknown signal does not.
    bool isFatal() const { return kind != Kind::UnknownSignal; }
};

RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const ExpError& error);

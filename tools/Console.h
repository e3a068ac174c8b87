/// \file
/// Where a command writes.
#pragma once

#include <iosfwd>

namespace rksignal {

/// The standard streams of the program, or what a test gives in their place.
struct Console {
    int output;             ///< file descriptor of the results
    std::ostream& messages; ///< everything else
    unsigned columns;       ///< of the terminal on which somebody watches `messages`; 0: nobody does
};

/// Exit statuses of the program.
enum ExitStatus : int {
    Clean = 0,         ///< all input was understood
    Damaged = 1,       ///< parts of the input could not be understood; the result holds all the rest
    Unusable = 2,      ///< wrong call, or a file that cannot be used at all; there may be no result
    Interrupted = 130, ///< by a signal; the result holds what had been read by then
};

} // namespace rksignal

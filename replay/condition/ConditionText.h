/// \file
/// Conditions as a user writes them: `[NAME=]EXPRESSION`, as an argument or as a line of a file.
#pragma once

#include "text/Remark.h"

#include <string>
#include <vector>

namespace rksignal {

/// A condition that is not compiled yet.
struct ConditionText {
    std::string name;       ///< as given; without one, the expression
    std::string expression; ///< without blanks around it
    std::string origin;     ///< where it stands, for remarks: `FILE:LINE`, `--when NAME`, ...
    bool isNamed = false;   ///< the name was given
};

/// Takes an argument apart. NAME is letters, digits, `_`, `.` and `-`, no digit or `-` first; a single `=`
/// follows, blanks around it do not matter. Everything else is an expression without a name: in `a == 1`
/// there is none. What stands for its origin is `place` and, if given, the name, else the quoted expression.
RKREPLAY_EXPORT ConditionText parseCondition(const std::string& argument,
                                             const std::string& place = "condition");

/// Reads a file with one condition a line; blank lines and those that start with `#` are passed over. `-` is
/// standard input. A line that cannot hold a condition goes to `remarks` as an error.
/// \throws Error if the file cannot be opened or read, or is a trace
RKREPLAY_EXPORT std::vector<ConditionText> readConditions(const std::string& path, RemarkList& remarks);

} // namespace rksignal

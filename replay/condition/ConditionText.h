/// \file
/// Conditions as a user writes them: `[NAME=]EXPRESSION`, as an argument or as a line of a file.
#pragma once

#include "condition/Finding.h"

#include <string>
#include <vector>

namespace rksignal {

/// A condition that is not compiled yet.
struct ConditionText {
    std::string name;       ///< as given; without one, the expression
    std::string expression; ///< without blanks around it
    std::string origin;     ///< for messages: `FILE:LINE`, `--when NAME` or `--when 'EXPRESSION'`
};

/// Takes an argument apart. NAME is letters, digits, `_`, `.` and `-`, no digit or `-` first; a single `=`
/// follows, blanks around it do not matter. Everything else is an expression without a name: in `a == 1`
/// there is none.
ConditionText parseCondition(const std::string& argument);

/// Reads a file with one condition a line; blank lines and those that start with `#` are passed over. `-` is
/// standard input. A line that cannot hold a condition goes to `findings` as an error.
/// \throws std::system_error if the file cannot be opened or read; the text names it.
std::vector<ConditionText> readConditions(const std::string& path, std::vector<Finding>& findings);

} // namespace rksignal

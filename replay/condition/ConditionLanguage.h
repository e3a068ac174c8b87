/// \file
/// What a condition may hold beyond the expressions of librksignal, and what is commonly written in place of
/// its operators.
#pragma once

#include "signal/BaseSignal.h"
#include "text/Remark.h"

#include <optional>
#include <string>

namespace rksignal {

/// Makes an expression one of librksignal: a text in quotes that is compared with a signal becomes the
/// physical value of the raw value that has this text, a hexadecimal number (`0x1F`) a decimal one. All the
/// rest stays as it is. In a text `\"` stands for a quote.
///
/// Texts that no raw value or several have, `and`, `or`, `not`, a single `=` and texts without quotes are
/// errors, which go to `remarks` with what to write. Takes linear time, a text that of its value table more.
/// \return nothing after an error
std::optional<std::string> translateExpression(const std::string& expression, const std::string& origin,
                                               const SignalStorage& signals, RemarkList& remarks);

/// `; close are A, B`: signals whose names come close to `name`, or nothing.
std::string closeSignals(const std::string& name, const SignalStorage& signals);

} // namespace rksignal

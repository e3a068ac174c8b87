/// \file
/// Why a condition is true, false or unknown at this moment.
#pragma once

#include "condition/CompiledCondition.h"

#include <functional>
#include <iosfwd>
#include <string>

namespace rksignal {

/// Writes the value of the condition and of each of its sub-expressions, one a line, operands below their
/// operator and indented by two more. Reads the signals as they are now; `reason` is asked about those
/// without a value. Numbers have no line of their own. The operands of `a && b && c` stand side by side.
///
///     Engine.Speed > 3000 && Gear.Lever == 2: true
///       Engine.Speed > 3000: true
///         Engine.Speed: 3200.5 rpm
///       Gear.Lever == 2: true
///         Gear.Lever: 2 (Drive)
void explain(CompiledCondition& condition, const UnknownReason& reason, std::ostream& out);

} // namespace rksignal

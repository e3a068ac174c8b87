/// \file
/// Says before a replay what the author of a condition would regret after it.
#pragma once

#include "condition/CompiledCondition.h"

namespace rksignal {

/// Adds to `remarks`: sub-expressions that can never be true or always are, given the width, type, scale and
/// offset of the signals; `==` and `!=` with a number that no raw value stands for; an expression without
/// signals; `&&` behind `||` without parentheses; as a note, `==` with a number that a value table leaves
/// out. Whatever is said holds for every value the signals can have; while one is unknown so may the
/// sub-expression be. Nothing is said that rests on a name that no signal has.
void checkCondition(CompiledCondition& condition, RemarkList& remarks);

} // namespace rksignal

/// \file
/// Finds the multiplexer of every multiplexed signal of a message.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/dbc/DbcStatements.h"

namespace rksignal {

/// Completes the multiplexing of `message`, whose signals already have what SG_MUL_VAL_ says about them.
/// A signal that has only `m<k>` belongs to the message's multiplexer that is not multiplexed itself; to the
/// first, with a note, if there are several. Signals whose multiplexer is missing, was dropped or depends on
/// itself are dropped, because nothing says when they are present. Takes linear time.
void resolveMultiplexing(DbcMessageStatement& message, DefinitionNotes& notes);

} // namespace rksignal

/// \file
/// What a window of time has left out, as text.
#pragma once

#include "text/NumberText.h"
#include "trace/Trace.h"

#include <iosfwd>

namespace rksignal {

/// Writes how many messages of the traces, which have been read, lie outside their window; nothing if there
/// are none. `onlyIfEmpty`: only that no message at all lies inside.
void printWindow(std::ostream& out, const Trace& traces, const TimeFormat& times, bool onlyIfEmpty);

} // namespace rksignal

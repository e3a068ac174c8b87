/// \file
/// Who may use the values in shared memory.
#pragma once

#include "live/LiveOptions.h"
#include "signal/SegmentAccess.h"

namespace rksignal {

/// \throws UsageError if the mode is no permissions, or there is no such group
SegmentAccess segmentAccess(const LiveOptions& options);

} // namespace rksignal

/// \file
/// The switch between fast paths and the plain paths beside them.
///
/// With `RKSIGNAL_PLAIN=1` in the environment both libraries take the plain path wherever there are two. The
/// results are the same, so that a difference shows a fault of the fast one. Looked at where programs are
/// compiled and tables are built, not for every frame.
#pragma once

#include "signal/Export.h"

namespace plainpaths {

/// Whether fast paths are off: as the environment says when the library is loaded. Tests change it while
/// nothing is decoded; what was compiled before stays as it is.
RKSIGNAL_EXPORT extern bool wanted;

} // namespace plainpaths

RKSIGNAL_HIDDEN inline bool fastPathsOff() {
    return plainpaths::wanted;
}

/// \file
/// The lock and the error text that all diagnostic lines of a logger process share.
#pragma once

#include "rkutil/Export.h"

#include <iosfwd>
#include <mutex>

/// Process-wide logging helpers; there are no instances.
class RK_EXPORT LogUtil {
  public:
    LogUtil() = delete;

    /// Held while one diagnostic line is written, so that lines of several threads do not interleave.
    /// Recursive: a line may print an object that logs while it prints. It is the last lock taken; never
    /// take another while holding it.
    static std::recursive_mutex logMutex;

    /// Completes a line after a failed system call: writes ": ", the text of the error number `error`
    /// (as strerror(3)) and a line end, then flushes `out`. Any thread; the caller holds `logMutex`.
    static void printError(std::ostream& out, int error);
};

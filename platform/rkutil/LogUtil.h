/// \file
/// Message lines: the lock and the error text that all of a logger process share, and where the lines go.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <string_view>

/// How grave it is what a message line says.
enum class LogLevel : std::uint8_t {
    Error, ///< an operation failed and went on with a fallback
    Info,  ///< what an operator may want to know
    Debug, ///< only while debugging is on
};

/// Receives one message line. `text` has neither the level's tag (`[ERROR] `) nor a line end behind it; that
/// of a dump has line ends inside. It is valid during the call.
using LogReceiver = std::function<void(LogLevel level, std::string_view text)>;

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

    /// From now on `receiver` gets the message lines of all threads, and none is written to the standard
    /// streams. An empty one restores the default: lines go to standard output, those after failed system
    /// calls to standard error.
    ///
    /// The receiver is called on the thread that has something to say, in the order of the lines, with
    /// `logMutex` and perhaps the lock of a signal's slot held. So it must not use signals or wait for a
    /// thread that does, must not call this function, and must not throw. It is kept until it is replaced,
    /// also while the process exits, since signals that live as long as the process still have something to
    /// say then.
    ///
    /// Any thread. When the call returns, the former receiver has been called for the last time.
    static void setReceiver(LogReceiver receiver);

    /// The receiver; empty by default. The caller holds `logMutex` as long as it uses what is returned.
    static const LogReceiver& receiver();
};

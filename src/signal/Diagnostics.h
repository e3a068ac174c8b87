/// \file
/// Message lines: `[LEVEL] Class::operation() text`, written whole and flushed under the log lock.
///
/// Every diagnostic of the signal classes goes through here; the caller names the place and the text.
/// `std::hex` and `std::dec` may stand among the items: a line sets the base that it needs, since the print
/// forms of signals leave theirs behind.
#pragma once

#include "rkutil/LogUtil.h"

#include <iostream>
#include <mutex>

/// The class and operation that a message line names.
struct LogSite {
    const char* className;
    const char* operation;
};

/// Writes the head and the items of a line, without ending it. The caller holds the log lock.
template <class... Items>
void writeLineHead(std::ostream& out, const char* level, LogSite site, const Items&... items) {
    out << level << site.className << "::" << site.operation << "() ";
    (out << ... << items);
}

/// Kept out of the code that calls it, which mostly has nothing to say.
template <class... Items>
[[gnu::cold, gnu::noinline]] void logLine(std::ostream& out, const char* level, LogSite site,
                                          const Items&... items) {
    const std::lock_guard guard(LogUtil::logMutex);
    writeLineHead(out, level, site, items...);
    out << std::endl;
}

template <class... Items>
void logDebug(LogSite site, const Items&... items) {
    logLine(std::cout, "[DEBUG] ", site, items...);
}

template <class... Items>
void logInfo(LogSite site, const Items&... items) {
    logLine(std::cout, "[INFO] ", site, items...);
}

template <class... Items>
void logError(LogSite site, const Items&... items) {
    logLine(std::cout, "[ERROR] ", site, items...);
}

/// After a failed system call: the line goes to standard error and ends with the text of `error`.
template <class... Items>
[[gnu::cold, gnu::noinline]] void logSystemError(LogSite site, int error, const Items&... items) {
    const std::lock_guard guard(LogUtil::logMutex);
    writeLineHead(std::cerr, "[ERROR] ", site, items...);
    LogUtil::printError(std::cerr, error);
}

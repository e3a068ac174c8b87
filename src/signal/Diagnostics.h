/// \file
/// Message lines: `[LEVEL] Class::operation() text`, written whole and flushed under the log lock.
///
/// Every diagnostic of the signal classes goes through here; the caller names the place and the text.
/// `std::hex` and `std::dec` may stand among the items: a line sets the base that it needs, since the print
/// forms of signals leave theirs behind. Numbers follow no locale, whatever the client has set.
#pragma once

#include "rkutil/LogUtil.h"

#include <iostream>
#include <locale>
#include <mutex>
#include <optional>
#include <sstream>

/// The class and operation that a message line names.
struct LogSite {
    const char* className;
    const char* operation;
};

/// What stands between a line's tag and its text.
inline std::ostream& operator<<(std::ostream& out, LogSite site) {
    return out << site.className << "::" << site.operation << "() ";
}

/// A message line, or several in one, while it is being written. Holds the log lock from construction to
/// destruction, which flushes the stream or hands the text to the client's receiver.
///
/// Without a receiver the caller writes to the standard stream itself, and settings that it leaves there
/// stay, on purpose. `out()` takes the line end as well; a receiver does not see it.
class LogLine {
  public:
    enum class Tag : bool { None, Level };

    /// \param tag whether the line begins with its level on the standard stream
    explicit LogLine(LogLevel level, std::ostream& standard = std::cout, Tag tag = Tag::Level);
    ~LogLine();
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    std::ostream& out() { return stream; }

  private:
    const std::lock_guard<std::recursive_mutex> guard;
    const LogLevel level;
    std::optional<std::ostringstream> text; ///< for a receiver
    std::ostream& stream;
    const std::locale formerLocale;
};

/// Kept out of the code that calls it, which mostly has nothing to say.
template <class... Items>
[[gnu::cold, gnu::noinline]] void logLine(LogLevel level, LogSite site, const Items&... items) {
    LogLine line(level);
    ((line.out() << site) << ... << items) << '\n';
}

template <class... Items>
void logDebug(LogSite site, const Items&... items) {
    logLine(LogLevel::Debug, site, items...);
}

template <class... Items>
void logInfo(LogSite site, const Items&... items) {
    logLine(LogLevel::Info, site, items...);
}

template <class... Items>
void logError(LogSite site, const Items&... items) {
    logLine(LogLevel::Error, site, items...);
}

/// After a failed system call: the line goes to standard error and ends with the text of `error`.
template <class... Items>
[[gnu::cold, gnu::noinline]] void logSystemError(LogSite site, int error, const Items&... items) {
    LogLine line(LogLevel::Error, std::cerr);
    ((line.out() << site) << ... << items);
    LogUtil::printError(line.out(), error);
}

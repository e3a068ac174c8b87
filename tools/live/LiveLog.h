/// \file
/// What a running logger says.
#pragma once

#include "text/PrintableText.h"

#include <mutex>
#include <ostream>
#include <string_view>

namespace rksignal {

/// Lines `rksignal: TEXT`, each flushed. Any thread.
class LiveLog {
  public:
    explicit LiveLog(std::ostream& out) : out(out) {}

    void say(std::string_view text) {
        const std::lock_guard guard(mutex);
        out << "rksignal: " << printable(text) << '\n' << std::flush;
    }
    /// Lines as they are.
    void write(std::string_view lines) {
        const std::lock_guard guard(mutex);
        out << lines << std::flush;
    }

  private:
    std::mutex mutex;
    std::ostream& out;
};

} // namespace rksignal

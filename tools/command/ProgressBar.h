/// \file
/// Shows on a terminal how far a command has come.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace rksignal {

/// A bar that is drawn over itself on one line and wiped out at the end.
class ProgressBar {
  public:
    /// `total` is not 0.
    ProgressBar(std::ostream& out, std::uint64_t total) : out(out), total(total) {}
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Draws the bar if its percentage has changed. `done` may exceed the total.
    void show(std::uint64_t done);

  private:
    std::ostream& out;
    std::uint64_t total;
    int shown = -1; ///< percent; -1: nothing drawn
};

} // namespace rksignal

/// \file
/// Shows on a terminal how far a command has come.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace rksignal {

/// A bar that is drawn over itself on one line and wiped out at the end.
class ProgressBar {
  public:
    /// `total` is not 0. The bar is made to fit into `columns` characters.
    ProgressBar(std::ostream& out, std::uint64_t total, unsigned columns)
        : out(out), total(total), cells(columns > around ? std::min(columns - around, 40U) : 0) {}
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Draws the bar if its percentage has changed. `done` may exceed the total.
    void show(std::uint64_t done);

  private:
    static constexpr unsigned around = 8; ///< characters of `[] 100%`, and a last column that stays free

    std::ostream& out;
    std::uint64_t total;
    std::size_t cells;
    int shown = -1; ///< percent; -1: nothing drawn
};

} // namespace rksignal

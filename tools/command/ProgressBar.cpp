#include "command/ProgressBar.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace rksignal {

void ProgressBar::show(std::uint64_t done) {
    const double part = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const int percent = static_cast<int>(100 * part);
    if (percent == shown) {
        return;
    }
    shown = percent;
    const std::size_t filled = cells * static_cast<std::size_t>(percent) / 100;
    out << "\r[" << std::string(filled, '=') << std::string(cells - filled, ' ') << "] " << percent << "%"
        << std::flush;
}

ProgressBar::~ProgressBar() {
    if (shown >= 0) {
        out << "\r\033[K" << std::flush;
    }
}

} // namespace rksignal

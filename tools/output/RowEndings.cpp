#include "output/RowEndings.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t first = 16;
constexpr std::size_t most = 4096;

} // namespace

void RowEndings::keep(std::uint64_t raw, std::string_view text, Budget& budget) {
    if (text.empty() || text.size() > longest) {
        return;
    }
    if (kept++ >= table.size() && table.size() < std::min<std::uint64_t>(most, values)) {
        grow(budget);
    }
    if (!table.empty()) {
        Ending& ending = table[raw & mask];
        ending.raw = raw;
        ending.length = static_cast<std::uint8_t>(text.size());
        text.copy(ending.text.data(), text.size());
    }
}

/// Starts anew with a larger table.
void RowEndings::grow(Budget& budget) {
    const std::size_t size = table.empty() ? first : 4 * table.size();
    if (size - table.size() <= budget.endings) {
        budget.endings -= size - table.size();
        table.assign(size, {});
        mask = size - 1;
        kept = 0;
    }
}

} // namespace rksignal

#include "decode/SignalSelection.h"

#include "command/UsageError.h"
#include "text/ClosestNames.h"

#include <fnmatch.h>
#include <string_view>

namespace rksignal {
namespace {

/// Says that nothing matches, and what comes close.
[[noreturn]] void rejectPattern(const Catalog& catalog, const std::string& pattern) {
    std::vector<std::string_view> names;
    for (const auto& signal : catalog.signals()) {
        names.push_back(signal->def.instance);
    }
    throw UsageError("--only " + pattern + " matches no signal" + closestNames(pattern, names));
}

} // namespace

std::vector<bool> selectSignals(const Catalog& catalog, const std::vector<std::string>& patterns) {
    const auto& signals = catalog.signals();
    std::vector<bool> selected(signals.size(), patterns.empty());
    for (const std::string& pattern : patterns) {
        bool matched = false;
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (fnmatch(pattern.c_str(), signals[i]->def.instance.c_str(), 0) == 0) {
                selected[i] = matched = true;
            }
        }
        if (!matched) {
            rejectPattern(catalog, pattern);
        }
    }
    return selected;
}

} // namespace rksignal

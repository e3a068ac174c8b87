#include "decode/SignalSelection.h"

#include "command/UsageError.h"
#include "text/ClosestNames.h"

#include <fnmatch.h>
#include <string_view>

namespace rksignal {
namespace {

/// Says that nothing matches, and what comes close.
[[noreturn]] void rejectPattern(const Catalog& catalog, const std::string& pattern,
                                const std::string& option) {
    std::vector<std::string_view> names;
    for (const auto& signal : catalog.signals()) {
        names.push_back(signal->def.instance);
    }
    throw UsageError(option + pattern + " matches no signal" + closestNames(pattern, names));
}

} // namespace

std::vector<bool> selectSignals(const Catalog& catalog, const std::vector<std::string>& patterns,
                                const std::string& option) {
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
            rejectPattern(catalog, pattern, option);
        }
    }
    return selected;
}

std::vector<std::size_t> selectInOrder(const Catalog& catalog, const std::vector<std::string>& patterns,
                                       const std::string& option) {
    std::vector<std::size_t> selected;
    std::vector<bool> isTaken(catalog.signals().size());
    const auto add = [&](const std::vector<bool>& matches) {
        for (std::size_t i = 0; i < matches.size(); ++i) {
            if (matches[i] && !isTaken[i]) {
                isTaken[i] = true;
                selected.push_back(i);
            }
        }
    };
    for (const std::string& pattern : patterns) {
        add(selectSignals(catalog, {pattern}, option));
    }
    if (patterns.empty()) {
        add(selectSignals(catalog, {}, option));
    }
    return selected;
}

} // namespace rksignal

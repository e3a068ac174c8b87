#include "decode/SignalSelection.h"

#include "UsageError.h"

#include <algorithm>
#include <cctype>
#include <fnmatch.h>
#include <numeric>
#include <string_view>
#include <tuple>

namespace rksignal {
namespace {

constexpr std::size_t maxCandidates = 3;

bool sameLetter(char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
}

/// How many characters must be inserted, deleted or replaced to make `pattern` match `name`, where a `*`
/// matches any run and upper case is lower case (Levenshtein).
std::size_t distance(std::string_view pattern, std::string_view name) {
    std::vector<std::size_t> row(name.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char wanted : pattern) {
        const bool anyRun = wanted == '*';
        std::size_t diagonal = row[0];
        row[0] += anyRun ? 0 : 1;
        for (std::size_t i = 0; i < name.size(); ++i) {
            const std::size_t above = row[i + 1];
            const std::size_t replaced = diagonal + (sameLetter(wanted, name[i]) || wanted == '?' ? 0 : 1);
            row[i + 1] = anyRun ? std::min(above, row[i]) : std::min({above + 1, row[i] + 1, replaced});
            diagonal = above;
        }
    }
    return row.back();
}

/// Says that nothing matches, and what comes close.
[[noreturn]] void rejectPattern(const Catalog& catalog, const std::string& pattern) {
    // Best are names that nearly contain the pattern, then those that are nearly the pattern.
    std::vector<std::tuple<std::size_t, std::size_t, std::string_view>> candidates;
    for (const auto& signal : catalog.signals()) {
        const std::string& name = signal->def.instance;
        candidates.emplace_back(distance("*" + pattern + "*", name), distance(pattern, name), name);
    }
    const auto shown = std::min(maxCandidates, candidates.size());
    const auto last = candidates.begin() + static_cast<std::ptrdiff_t>(shown);
    std::partial_sort(candidates.begin(), last, candidates.end());
    std::string text = "--signals " + pattern + " matches no signal";
    for (auto candidate = candidates.begin(); candidate != last; ++candidate) {
        text += candidate == candidates.begin() ? "; close are " : ", ";
        text += std::get<std::string_view>(*candidate);
    }
    throw UsageError(text);
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

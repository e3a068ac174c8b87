#include "text/ClosestNames.h"

#include <algorithm>
#include <cctype>
#include <numeric>
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

} // namespace

std::string closestNames(std::string_view pattern, const std::vector<std::string_view>& names) {
    // Best are names that nearly contain the pattern, then those that are nearly the pattern.
    const std::string contained = "*" + std::string(pattern) + "*";
    std::vector<std::tuple<std::size_t, std::size_t, std::string_view>> candidates;
    const std::size_t limit = pattern.size() / 3; // what is further away was hardly meant
    for (const std::string_view name : names) {
        const std::size_t fromContained = distance(contained, name);
        if (fromContained <= limit) {
            candidates.emplace_back(fromContained, distance(pattern, name), name);
        }
    }
    const auto shown = std::min(maxCandidates, candidates.size());
    const auto last = candidates.begin() + static_cast<std::ptrdiff_t>(shown);
    std::partial_sort(candidates.begin(), last, candidates.end());
    std::string text;
    for (auto candidate = candidates.begin(); candidate != last; ++candidate) {
        text += candidate == candidates.begin() ? "; close are " : ", ";
        text += std::get<std::string_view>(*candidate);
    }
    return text;
}

} // namespace rksignal

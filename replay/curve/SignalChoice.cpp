#include "curve/SignalChoice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fnmatch.h>
#include <string>
#include <utility>

namespace rksignal {
namespace {

/// Counters and checksums are known by their names.
bool protectsMessage(const std::string& name) {
    constexpr std::array patterns = {"*crc*",  "*checksum*", "*chksum*", "*counter*", "*cntr*",
                                     "*_ctr*", "*_cnt*",     "*alive*",  "*_bz*",     "*sequence*"};
    return std::ranges::any_of(
        patterns, [&name](const char* pattern) { return fnmatch(pattern, name.c_str(), FNM_CASEFOLD) == 0; });
}

/// How much a curve tells: greater is more.
double interest(const Curve& curve) {
    const auto values = static_cast<double>(curve.count());
    const auto changes = static_cast<double>(curve.changes());
    const bool hasUnit = !curve.definition().unit.empty();
    switch (curve.kind()) {
    case CurveKind::Line:
        return (hasUnit ? 30 : 20) + std::log10(1 + changes);
    case CurveKind::States:
    case CurveKind::Step:
        return (changes > values / 2 ? 0 : 10) + std::log10(1 + changes);
    case CurveKind::Empty:
    case CurveKind::Constant:
        break;
    }
    return -1;
}

} // namespace

std::vector<std::size_t> chooseSignals(const Catalog& catalog, const CurveRecorder& curves,
                                       std::span<const std::size_t> given, std::size_t most) {
    std::vector<std::size_t> chosen(given.begin(), given.end());
    std::vector<std::pair<double, std::size_t>> others;
    for (const std::size_t signal : curves.signals()) {
        const std::string& name = catalog.origin(signal).definition().common().signal;
        const double score = protectsMessage(name) ? -1 : interest(curves.curve(signal));
        if (score > 0 && std::ranges::find(given, signal) == given.end()) {
            others.emplace_back(-score, signal);
        }
    }
    std::ranges::sort(others);
    for (const auto& [score, signal] : others) {
        if (chosen.size() >= most) {
            break;
        }
        chosen.push_back(signal);
    }
    return chosen;
}

} // namespace rksignal

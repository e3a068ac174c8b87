#include "report/PanelChoice.h"

#include "curve/SignalChoice.h"
#include "decode/SignalSelection.h"

#include <algorithm>
#include <map>

namespace rksignal {
namespace {

std::vector<std::size_t> ofConditions(const Catalog& catalog, const Triggers& triggers) {
    std::vector<std::size_t> signals;
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        for (const BaseSignal* const signal : triggers.condition(i).signals()) {
            const std::size_t index = catalog.indexOf(signal->id);
            if (std::ranges::find(signals, index) == signals.end()) {
                signals.push_back(index);
            }
        }
    }
    return signals;
}

} // namespace

std::vector<std::size_t> signalsLike(Catalog& catalog, const std::vector<std::string>& patterns) {
    std::vector<std::size_t> signals;
    for (const std::string& pattern : patterns) {
        catalog.addSources(pattern);
        const std::vector<bool> matches = selectSignals(catalog, {pattern});
        for (std::size_t i = 0; i < matches.size(); ++i) {
            if (matches[i] && std::ranges::find(signals, i) == signals.end()) {
                signals.push_back(i);
            }
        }
    }
    return signals;
}

std::vector<std::vector<std::size_t>> choosePanels(const Catalog& catalog, const DriveReport& report,
                                                   std::span<const std::size_t> wanted, bool together) {
    std::vector<std::size_t> signals(wanted.begin(), wanted.end());
    if (signals.empty()) {
        signals = chooseSignals(catalog, report.curves(), ofConditions(catalog, report.triggers()),
                                mostChosenPanels);
    }
    std::vector<std::vector<std::size_t>> panels;
    std::map<std::string, std::size_t> panelOfUnit;
    for (const std::size_t signal : signals) {
        const std::string& unit = catalog.signals()[signal]->def.unit;
        const bool isQuantity = !unit.empty() && report.curves().curve(signal).kind() != CurveKind::States;
        const auto [place, isNew] = panelOfUnit.try_emplace(unit, panels.size());
        if (together && isQuantity && !isNew) {
            panels[place->second].push_back(signal);
        } else if (panels.size() < mostPanels) {
            panels.push_back({signal});
        }
    }
    return panels;
}

} // namespace rksignal

#include "columns/WantedSignals.h"

#include "definition/SignalKind.h"

namespace rksignal {

WantedSignals::WantedSignals(const Catalog& catalog, std::vector<bool> wantedSignals)
    : catalog(catalog), wanted(std::move(wantedSignals)) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        add(i);
    }
    valueTexts->keep();
}

void WantedSignals::extend() {
    for (std::size_t i = wanted.size(); i < catalog.signals().size(); ++i) {
        wanted.push_back(wanted[catalog.definedSignal(i)]);
        add(i);
    }
}

void WantedSignals::add(std::size_t index) {
    if (!wanted[index]) {
        places.push_back(none);
        return;
    }
    BaseSignal& signal = *catalog.signals()[index];
    places.push_back(static_cast<std::uint32_t>(signals.size()));
    signals.push_back({SignalReader(signal, valueTexts), instanceNames->add(signal.def.instance)});
}

std::vector<std::size_t> WantedSignals::indices() const {
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i] != none) {
            all.push_back(i);
        }
    }
    return all;
}

std::shared_ptr<TextDictionary> WantedSignals::buses() {
    auto names = std::make_shared<TextDictionary>();
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        names->add(kindName(static_cast<SignalKind>(kind)));
    }
    return names;
}

} // namespace rksignal

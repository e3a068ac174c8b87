#include "bus/EthernetTables.h"

#include "bus/EthernetSignal.h"

FrameTable<EthernetSignal>::Frame* EthernetTables::decide(const miiFrameInfo_t& frame, std::uint8_t channel,
                                                          std::uint64_t key) {
    std::vector<EthernetSignal*> signals;
    if (!frames.appendMatching(frame, channel, signals)) {
        if (negative.size() >= EthernetSignal::maxNegative) {
            negative.clear();
        }
        negative.insert(key);
        return nullptr;
    }
    if (positive.size() >= EthernetSignal::maxPositive) {
        positive.clear();
    }
    if (positive.empty()) { // perhaps by a client
        decisionsOf.clear();
    }
    for (const EthernetSignal* const signal : signals) {
        decisionsOf[signal].push_back(key);
    }
    return positive.fileAll(key, std::move(signals));
}

void EthernetTables::forget(const EthernetSignal* signal) {
    const auto decisions = decisionsOf.find(signal);
    if (decisions != decisionsOf.end()) {
        for (const std::uint64_t key : decisions->second) {
            positive.unfile(key, signal);
        }
        decisionsOf.erase(decisions);
    }
    positive.unfileByHand(signal);
}

void EthernetTables::clear() {
    negative.clear();
    positive.clear();
    decisionsOf.clear();
    frames.clear();
    channelsInUse.fill(false);
}

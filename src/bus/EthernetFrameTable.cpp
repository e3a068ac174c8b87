#include "bus/EthernetFrameTable.h"

#include "bus/EthernetAddressing.h"

#include <algorithm>

using ethernet::AddressingField;

EthernetFrameTable::Shape EthernetFrameTable::shapeOf(const EthernetFrameHash& frame) {
    Shape shape = 0;
    Shape bit = 1;
    const auto note = [&shape, &bit](AddressingField, auto field) {
        shape |= field != 0 ? bit : 0;
        bit <<= 1;
    };
    ethernet::forEachAddressingField(note, frame);
    return shape;
}

/// The frame without the fields that a shape leaves open: it has the hash of the entries that it matches.
miiFrameInfo_t EthernetFrameTable::masked(const miiFrameInfo_t& frame, Shape shape) {
    miiFrameInfo_t result;
    const auto copy = [&shape](AddressingField, auto& kept, auto field) {
        kept = (shape & 1) != 0 ? field : decltype(field){};
        shape >>= 1;
    };
    ethernet::forEachAddressingField(copy, result, frame);
    return result;
}

void EthernetFrameTable::makeIndex() {
    entries.clear();
    groups.clear();
    for (const value_type& entry : bound) {
        const EthernetFrameHash& frame = *entry.first;
        groups[shapeOf(frame)].push_back({frame.hash, static_cast<std::uint32_t>(entries.size())});
        entries.push_back(&entry);
    }
    for (auto& [shape, group] : groups) {
        std::sort(group.begin(), group.end());
    }
    generation = changeCounter->latest();
}

void EthernetFrameTable::unfileByHand(const EthernetSignal* signal) {
    for (auto key = openKeys.begin(); key != openKeys.end();) {
        const auto entry = bound.find(*key++);
        std::erase(entry->second, signal);
        if (entry->second.empty()) {
            erase(const_iterator(entry));
        }
    }
}

bool EthernetFrameTable::appendMatching(const miiFrameInfo_t& frame, std::uint8_t channel,
                                        std::vector<EthernetSignal*>& signals) {
    if (generation != changeCounter->latest()) {
        makeIndex();
    }
    matching.clear();
    for (const auto& [shape, group] : groups) {
        const auto hash = static_cast<std::uint32_t>(hashFrame(masked(frame, shape), channel));
        auto candidate = std::lower_bound(group.begin(), group.end(), Indexed{hash, 0});
        for (; candidate != group.end() && candidate->hash == hash; ++candidate) {
            if (entries[candidate->entry]->first->match(frame, channel)) {
                matching.push_back(candidate->entry);
            }
        }
    }
    std::sort(matching.begin(), matching.end());
    for (const std::uint32_t entry : matching) {
        const mapped_type& list = entries[entry]->second;
        signals.insert(signals.end(), list.begin(), list.end());
    }
    return !matching.empty();
}

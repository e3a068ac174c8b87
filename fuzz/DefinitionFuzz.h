/// \file
/// What every reader of definition files promises, whatever it read.
#pragma once

#include "catalog/Catalog.h"

#include <cstdlib>
#include <utility>

/// Ends the process if something is no `condition`.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

inline void requireSound(const rksignal::MessageDefinition& message) {
    using rksignal::SignalKind;
    const bool isFrame = message.kind == SignalKind::Can || message.kind == SignalKind::Lin;
    require(isFrame || message.kind == SignalKind::FlexRay || message.kind == SignalKind::Ethernet);
    require(!isFrame || message.id <= (message.kind == SignalKind::Lin ? 63
                                       : message.extended              ? rksignal::greatestExtendedId
                                                                       : rksignal::greatestStandardId));
    require(!isFrame || message.length <= (message.isParameterGroup ? rksignal::longestParameterGroup
                                                                    : rksignal::longestFrame));
    require(!message.place.empty());
    for (const rksignal::SignalDefinition& signal : message.signals) {
        const baseSignalDef_t& record = signal.common();
        require(record.bits >= 1 && record.bits <= 64 && !signal.place.empty());
        require(record.instance == message.name + "." + record.signal);
        require(signal.record.index() ==
                static_cast<std::size_t>(message.kind)); // both in the order of buses
        if (signal.multiplexing) {
            require(signal.multiplexing->multiplexer < message.signals.size() &&
                    !signal.multiplexing->ranges.empty());
            require(message.signals[*signal.multiplexing->multiplexer].common().multiplexer != 0);
        }
        for (const auto& [first, last] :
             signal.multiplexing ? signal.multiplexing->ranges : std::vector<rksignal::ValueRange>()) {
            require(first <= last);
        }
    }
}

/// Checks all messages and makes them signals.
inline void useDefinitions(rksignal::DefinitionFile file) {
    for (const rksignal::MessageDefinition& message : file.messages) {
        requireSound(message);
    }
    rksignal::Catalog catalog;
    catalog.add(std::move(file));
}

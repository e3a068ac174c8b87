/// \file
/// The further objects of a signal that lies at several positions.
#pragma once

#include <cstddef>
#include <memory>

/// Gives `parent` a child, a mirror on its slot, for each position of its definition after the first. The
/// definition of a child has that position alone.
template <class Signal>
void addPositionChildren(Signal& parent) {
    auto definition = parent.definition;
    for (std::size_t i = 1; i < parent.definition.positions.size(); ++i) {
        definition.positions = {parent.definition.positions[i]};
        parent.children.push_back(std::make_unique<Signal>(&parent, definition));
    }
}

/// Points the codec of `signal` at the bytes of its first position: it is given those from its startByte on.
template <class Signal>
void useFirstPosition(Signal& signal) {
    signal.def.startbit = signal.definition.positions.front().startBit & 7;
    signal.cInit();
}

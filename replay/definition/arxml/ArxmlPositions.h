/// \file
/// PDUs of AUTOSAR as messages of FlexRay and Ethernet, whose signals have a position for each place of the
/// PDU.
#pragma once

#include "definition/Definition.h"
#include "definition/arxml/ArxmlClusters.h"

#include <cstddef>
#include <utility>
#include <variant>
#include <vector>

namespace rksignal {

/// A message, and which signals of its PDU it has.
struct ArxmlPositioned {
    std::size_t message = 0;          ///< index in the messages of the reading
    std::vector<std::size_t> signals; ///< indices in the PDU, as those of the message
};

/// Whether a record with positions can hold a signal of the PDU: it is not multiplexed and touches up to 8
/// bytes. What is not so is remarked.
bool canHavePositions(const ArxmlReading& reading, const ArxmlPdu& pdu, const ArxmlSignal& signal);

constexpr std::size_t positionsOfSignal = 8; ///< so many take as much memory as a signal does

/// Adds `message`, which is that of the PDU, with those of its signals that end within `longest` bytes,
/// without positions; without signals if there are too many in all.
template <class Record>
ArxmlPositioned addPositioned(ArxmlReading& reading, MessageDefinition message, const ArxmlPdu& pdu,
                              std::size_t longest) {
    describeArxmlMessage(reading, pdu, message);
    message.length = static_cast<std::uint16_t>(std::min<std::uint32_t>(pdu.length, 0xFFFF));
    ArxmlPositioned added{reading.messages.size(), {}};
    const std::size_t count = pdu.signals.size();
    const bool isRoom = reading.model.takeRepeated(pdu.element, 1 + count * positionsOfSignal);
    for (std::size_t i = 0; i < count && isRoom; ++i) {
        if (!canHavePositions(reading, pdu, pdu.signals[i])) {
            continue;
        }
        if (auto signal = arxmlSignal(reading, message, pdu, pdu.signals[i], 0, longest, Record())) {
            signal->common().startbit = 0;
            signal->common().multiplexer = 0;
            message.signals.push_back(std::move(*signal));
            added.signals.push_back(i);
        }
    }
    reading.messages.push_back(std::move(message));
    return added;
}

/// Adds to each signal of a message what `positionOf` makes of the signal of the PDU.
template <class Record, class PositionOf>
void addPositions(ArxmlReading& reading, const ArxmlPositioned& to, const ArxmlPdu& pdu,
                  PositionOf&& positionOf) {
    auto& signals = reading.messages[to.message].signals;
    const bool isRoom = reading.model.takeRepeated(pdu.element, 1 + signals.size());
    for (std::size_t i = 0; i < signals.size() && isRoom; ++i) {
        std::get<Record>(signals[i].record).positions.push_back(positionOf(pdu.signals[to.signals[i]]));
    }
}

} // namespace rksignal

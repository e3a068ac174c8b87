/// \file
/// LIN clusters: unconditional frames with their identifiers.
#include "definition/arxml/ArxmlClusters.h"

#include <string_view>

namespace rksignal {
namespace {

constexpr std::uint64_t lastFrameIdOfLin = 63;
constexpr std::size_t mostBytesOfLin = 8;

/// The signals of one PDU that lie in the 8 bytes of the frame.
void addLinSignals(ArxmlReading& reading, const ArxmlPlacedPdu& placed, MessageDefinition& message) {
    describeArxmlMessage(reading, placed.pdu, message);
    for (const ArxmlSignal& signal : placed.pdu.signals) {
        if (signal.multiplexing) {
            reading.model.leftOut(placed.pdu.element, "multiplexed signals of LIN are not decoded");
            continue;
        }
        linSignalDef_t record;
        record.msgId = message.id;
        auto added = arxmlSignal(reading, message, placed.pdu, signal, placed.offset, mostBytesOfLin,
                                 std::move(record));
        if (added) {
            added->common().multiplexer = 0;
            message.signals.push_back(std::move(*added));
        }
    }
}

void readLinFrame(ArxmlReading& reading, pugi::xml_node triggering) {
    const pugi::xml_node frame = reading.model.target(triggering, {"FRAME-REF"});
    if (!frame) {
        return;
    }
    if (std::string_view(frame.name()) != "LIN-UNCONDITIONAL-FRAME" &&
        std::string_view(frame.name()) != "FRAME") {
        return reading.model.note(triggering, std::string(frame.name()) + " is not decoded by itself");
    }
    const auto id = arxmlUnsigned(arxmlText(triggering, {"IDENTIFIER"}));
    const auto length = arxmlUnsigned(arxmlText(frame, {"FRAME-LENGTH"})).value_or(0);
    if (!id || *id > lastFrameIdOfLin || length > mostBytesOfLin) {
        return reading.model.leftOut(triggering,
                                     "IDENTIFIER or FRAME-LENGTH is none of LIN; the frame is not decoded");
    }
    MessageDefinition message = startArxmlMessage(reading, SignalKind::Lin, frame);
    message.id = static_cast<std::uint32_t>(*id);
    message.length = static_cast<std::uint16_t>(length);
    const ArxmlNodes::Ends ends = reading.nodes.ofTriggering(triggering);
    message.sender = ends.senders.empty() ? "" : ends.senders.front();
    for (const ArxmlPlacedPdu& each : placedArxmlPdus(reading, frame, message.name, mostBytesOfLin)) {
        if (each.headerId) {
            reading.model.leftOut(each.pdu.element, "PDUs with headers are not decoded in LIN frames");
        } else {
            addLinSignals(reading, each, message);
        }
    }
    for (SignalDefinition& signal : message.signals) {
        addArxmlNodes(signal.receivers, ends.receivers);
    }
    reading.messages.push_back(std::move(message));
}

} // namespace

void readArxmlLin(ArxmlReading& reading, pugi::xml_node cluster) {
    for (const pugi::xml_node channel : arxmlChannels(reading.model, cluster)) {
        for (const pugi::xml_node triggering :
             arxmlFrameTriggerings(reading.model, channel, "LIN-FRAME-TRIGGERING")) {
            readLinFrame(reading, triggering);
        }
    }
}

} // namespace rksignal

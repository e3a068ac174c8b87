/// \file
/// CAN, TTCAN and SAE J1939 clusters: frames with their identifiers and the PDUs in them.
#include "definition/arxml/ArxmlClusters.h"

#include "definition/FreeNames.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace rksignal {
namespace {

/// One frame triggering as messages: the frame, and each PDU with a header in it.
class CanFrameReader {
  public:
    CanFrameReader(ArxmlReading& reading, pugi::xml_node triggering, bool isJ1939)
        : reading(reading), triggering(triggering), frame(reading.model.target(triggering, {"FRAME-REF"})),
          isJ1939(isJ1939) {}

    void read() {
        if (!frame || !readFrame()) {
            return;
        }
        const std::vector<ArxmlPlacedPdu> placed =
            placedArxmlPdus(reading, frame, message.name, longestParameterGroup);
        const bool hasFixed =
            std::any_of(placed.begin(), placed.end(), [](const auto& each) { return !each.headerId; });
        if (hasFixed || placed.empty()) {
            reading.messages.push_back(fixedPart(placed));
        }
        for (const ArxmlPlacedPdu& each : placed) {
            if (each.headerId) {
                addContained(each);
            }
        }
    }

  private:
    /// What all messages of the frame have in common.
    bool readFrame() {
        message = startArxmlMessage(reading, SignalKind::Can, frame);
        const auto id = arxmlUnsigned(arxmlText(triggering, {"IDENTIFIER"}));
        const std::string_view mode = arxmlText(triggering, {"CAN-ADDRESSING-MODE"});
        message.extended = mode == "EXTENDED" || (mode.empty() && id.value_or(0) > greatestStandardId);
        if (!id || *id > greatestCanId(message.extended)) {
            reading.model.leftOut(triggering, id ? "IDENTIFIER is too great; the frame is not decoded"
                                                 : "there is no IDENTIFIER; the frame is not decoded");
            return false;
        }
        message.id = static_cast<std::uint32_t>(*id);
        message.isParameterGroup = isJ1939 && message.extended;
        const auto length = arxmlUnsigned(arxmlText(frame, {"FRAME-LENGTH"})).value_or(0);
        const std::size_t longest = message.isParameterGroup ? longestParameterGroup : longestFrame;
        if (length > longest) {
            reading.model.leftOut(frame, "FRAME-LENGTH of " + std::to_string(length) +
                                             " bytes; the frame is not decoded");
            return false;
        }
        message.length = static_cast<std::uint16_t>(length);
        message.canFd = arxmlText(triggering, {"CAN-FRAME-RX-BEHAVIOR"}) == "CAN-FD" ||
                        arxmlText(triggering, {"CAN-FRAME-TX-BEHAVIOR"}) == "CAN-FD" ||
                        (length > mostCanBytes(false) && !message.isParameterGroup);
        ends = reading.nodes.ofTriggering(triggering);
        message.sender = ends.senders.empty() ? "" : ends.senders.front();
        return true;
    }

    MessageDefinition fixedPart(const std::vector<ArxmlPlacedPdu>& placed) {
        MessageDefinition fixed = message;
        for (const ArxmlPlacedPdu& each : placed) {
            if (!each.headerId) {
                describeArxmlMessage(reading, each.pdu, fixed);
            }
        }
        names.clear();
        for (const ArxmlPlacedPdu& each : placed) {
            if (!each.headerId) {
                addSignals(each, each.offset, fixed);
            }
        }
        return fixed;
    }

    void addContained(const ArxmlPlacedPdu& placed) {
        if (!message.canFd || placed.offset != 0) {
            return reading.model.leftOut(placed.pdu.element,
                                         "PDU with a header that is not in the front of a CAN FD frame (" +
                                             message.name + "), not decoded");
        }
        MessageDefinition contained = message;
        contained.name = placed.pdu.name;
        contained.comment = placed.pdu.comment;
        contained.place = reading.model.placeOf(placed.pdu.element);
        contained.pduId = placed.headerId;
        contained.pduHeader = placed.header;
        contained.length =
            static_cast<std::uint16_t>(std::min<std::uint32_t>(placed.pdu.length, longestFrame));
        describeArxmlMessage(reading, placed.pdu, contained);
        names.clear();
        addSignals(placed, 0, contained);
        reading.messages.push_back(std::move(contained));
    }

    /// Multiplexers are counted in the PDU: all signals of it are added, or none.
    void addSignals(const ArxmlPlacedPdu& placed, std::uint32_t offset, MessageDefinition& to) {
        const std::size_t base = to.signals.size();
        for (const ArxmlSignal& signal : placed.pdu.signals) {
            auto added = canSignal(placed.pdu, signal, offset, to);
            if (!added) {
                to.signals.resize(base);
                return;
            }
            if (added->multiplexing) {
                *added->multiplexing->multiplexer += base;
            }
            to.signals.push_back(std::move(*added));
        }
    }

    std::optional<SignalDefinition> canSignal(const ArxmlPdu& pdu, const ArxmlSignal& signal,
                                              std::uint32_t offset, const MessageDefinition& to) {
        canSignalDef_t record;
        record.msgId = to.id;
        record.extended = to.extended;
        record.canFD = to.canFd;
        record.message = to.name;
        record.sender = to.sender;
        record.pduId = to.pduId;
        auto added =
            arxmlSignal(reading, to, pdu, signal, offset,
                        to.isParameterGroup ? longestParameterGroup : longestFrame, std::move(record));
        if (!added) {
            return std::nullopt;
        }
        addArxmlNodes(added->receivers, ends.receivers);
        canSignalDef_t& own = added->can();
        own.multiplexed = signal.multiplexing.has_value();
        own.mux = own.multiplexed ? firstSelector(signal.multiplexing->ranges) : std::uint16_t{0};
        giveName(pdu, own, to);
        return added;
    }

    /// Names are unique in a message: of signals of several PDUs, that of the PDU is put before.
    void giveName(const ArxmlPdu& pdu, canSignalDef_t& record, const MessageDefinition& to) {
        const auto isTaken = [this](const std::string& name) { return names.contains(name); };
        if (isTaken(record.signal) && !record.multiplexed) {
            record.signal = pdu.name + "_" + record.signal;
        }
        if (!record.multiplexed) {
            record.signal = FreeNames().find(record.signal, isTaken);
        }
        names.insert(record.signal);
        record.instance = to.name + "." + record.signal;
    }

    ArxmlReading& reading;
    pugi::xml_node triggering;
    pugi::xml_node frame;
    bool isJ1939;
    MessageDefinition message; ///< without signals
    ArxmlNodes::Ends ends;
    std::unordered_set<std::string> names; ///< of the signals of the message
};

} // namespace

void readArxmlCan(ArxmlReading& reading, pugi::xml_node cluster) {
    const bool isJ1939 = std::string_view(cluster.name()) == "J-1939-CLUSTER";
    for (const pugi::xml_node channel : arxmlChannels(reading.model, cluster)) {
        for (const pugi::xml_node triggering :
             arxmlFrameTriggerings(reading.model, channel, "CAN-FRAME-TRIGGERING")) {
            CanFrameReader(reading, triggering, isJ1939).read();
        }
    }
}

} // namespace rksignal

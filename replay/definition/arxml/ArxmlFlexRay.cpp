/// \file
/// FlexRay clusters: what lies in which slots and cycles (AUTOSAR TPS System Template). A message is a PDU in
/// a slot; all its cycles and places there are positions of its signals.
#include "definition/arxml/ArxmlPositions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

/// When a frame is sent.
struct FrameTiming {
    std::uint16_t slot = 0;
    std::uint8_t baseCycle = 0;
    std::uint8_t repetition = 1;

    friend bool operator<(const FrameTiming& left, const FrameTiming& right) {
        return std::tie(left.slot, left.baseCycle, left.repetition) <
               std::tie(right.slot, right.baseCycle, right.repetition);
    }
};

/// A PDU in a frame, and its update bit there.
struct FramedPdu {
    ArxmlPlacedPdu placed;
    std::optional<std::uint16_t> updateBit;
};

/// A frame at one time on one or both channels.
struct FlexRayFrame {
    pugi::xml_node element;
    pugi::xml_node triggering; ///< the first
    FrameTiming timing;
    std::array<bool, 2> isOn{}; ///< A, B
};

std::optional<std::uint64_t> descendantNumber(pugi::xml_node element, const char* tag) {
    const pugi::xml_node found = element.find_node([tag](pugi::xml_node each) {
        return std::string_view(each.name()) == tag && each.child_value()[0] != '\0';
    });
    std::string_view text = found.child_value();
    text.remove_prefix(std::min(text.size(), text.rfind('-') + 1)); // CYCLE-REPETITION-4
    return arxmlUnsigned(text);
}

class FlexRayClusterReader {
  public:
    explicit FlexRayClusterReader(ArxmlReading& reading) : reading(reading), model(reading.model) {}

    void read(pugi::xml_node cluster) {
        staticSlots = arxmlUnsigned(arxmlText(arxmlVariant(cluster), {"NUMBER-OF-STATIC-SLOTS"}));
        if (!staticSlots) {
            model.note(cluster, "there is no NUMBER-OF-STATIC-SLOTS; all slots are taken for static ones");
        }
        std::size_t index = 0;
        for (const pugi::xml_node each : arxmlChannels(model, cluster)) {
            const std::string_view name = arxmlText(each, {"CHANNEL-NAME"});
            readChannel(each, name.ends_with("-B") || (name.empty() && index == 1) ? 1 : 0);
            ++index;
        }
        for (const FlexRayFrame& frame : frames) {
            addMessages(frame, channelOf(cluster, frame));
        }
    }

  private:
    using Identity = const void*; ///< of an element
    using FrameKey = std::pair<Identity, FrameTiming>;
    using MessageKey =
        std::tuple<Identity, std::optional<std::uint32_t>, std::optional<std::uint8_t>, std::uint16_t>;

    void readChannel(pugi::xml_node physicalChannel, std::size_t side) {
        for (const pugi::xml_node triggering :
             arxmlFrameTriggerings(reading.model, physicalChannel, "FLEXRAY-FRAME-TRIGGERING")) {
            const pugi::xml_node frame = model.target(triggering, {"FRAME-REF"});
            const pugi::xml_node timings =
                arxmlChild(triggering, {"ABSOLUTELY-SCHEDULED-TIMINGS", "ABSOLUTELY-SCHEDULED-TIMINGSS"});
            for (const pugi::xml_node timing : timings.children()) {
                if (const auto when = readTiming(triggering, timing); when && frame) {
                    addFrame(frame, triggering, *when, side);
                }
            }
            if (!timings.first_child()) {
                model.leftOut(triggering, "frame without a slot, not decoded");
            }
        }
    }

    std::optional<FrameTiming> readTiming(pugi::xml_node triggering, pugi::xml_node timing) {
        const auto slot = arxmlUnsigned(arxmlText(timing, {"SLOT-ID"}));
        const auto counter = descendantNumber(timing, "CYCLE-COUNTER");
        const auto base = counter ? counter : descendantNumber(timing, "BASE-CYCLE");
        const auto repetition = counter ? communicationCycles : descendantNumber(timing, "CYCLE-REPETITION");
        if (!slot || *slot == 0 || *slot > greatestSlot || base.value_or(0) >= communicationCycles ||
            repetition.value_or(1) == 0 || repetition.value_or(1) > communicationCycles) {
            model.leftOut(triggering, "frame without a valid slot and cycle, not decoded");
            return std::nullopt;
        }
        return FrameTiming{static_cast<std::uint16_t>(*slot), static_cast<std::uint8_t>(base.value_or(0)),
                           static_cast<std::uint8_t>(repetition.value_or(1))};
    }

    void addFrame(pugi::xml_node frame, pugi::xml_node triggering, const FrameTiming& timing,
                  std::size_t side) {
        const auto [known, isNew] = byFrame.try_emplace({frame.internal_object(), timing}, frames.size());
        if (isNew) {
            frames.push_back({frame, triggering, timing, {}});
        }
        frames[known->second].isOn[side] = true;
        inSlot[timing.slot][side].insert(frame.internal_object());
    }

    std::optional<std::uint8_t> channelOf(pugi::xml_node cluster, const FlexRayFrame& frame) {
        const auto& sides = inSlot[frame.timing.slot];
        const bool differ = !sides[0].empty() && !sides[1].empty() && sides[0] != sides[1];
        if (!reading.channel && !differ) {
            return std::nullopt;
        }
        if (differ && !reading.channel) {
            model.note(
                cluster,
                "channels A and B differ: slots in which they do are taken for those of channel 0 and 1");
        }
        if (frame.isOn[0] && frame.isOn[1]) {
            model.note(cluster, "frames that are sent on both channels are decoded from channel A");
        }
        return static_cast<std::uint8_t>(reading.channel.value_or(0) + (frame.isOn[0] ? 0 : 1));
    }

    /// The PDUs of a frame, which may be in several slots.
    const std::vector<FramedPdu>& pdusOf(pugi::xml_node frame) {
        const auto [known, isNew] = content.try_emplace(frame.internal_object());
        if (!isNew) {
            return known->second;
        }
        for (const pugi::xml_node mapping :
             frame.child("PDU-TO-FRAME-MAPPINGS").children("PDU-TO-FRAME-MAPPING")) {
            const pugi::xml_node pdu = model.target(mapping, {"PDU-REF"});
            const auto start = arxmlUnsigned(arxmlText(mapping, {"START-POSITION"}));
            if (!pdu || !start || *start / 8 > longestFlexRayFrame) {
                model.leftOut(mapping, "PDU without a place in its frame, not decoded");
                continue;
            }
            std::vector<ArxmlPlacedPdu> placed;
            reading.pdus.place(pdu, static_cast<std::uint32_t>(*start / 8), std::string(arxmlName(pdu)),
                               placed);
            const auto update = arxmlUnsigned(arxmlText(mapping, {"UPDATE-INDICATION-BIT-POSITION"}));
            for (ArxmlPlacedPdu& each : placed) {
                const std::size_t size = 1 + each.pdu.signals.size() * positionsOfSignal;
                if (isDecodable(each) && model.takeRepeated(mapping, size)) {
                    known->second.push_back({std::move(each), updateBitOf(update)});
                }
            }
        }
        return known->second;
    }

    static std::optional<std::uint16_t> updateBitOf(std::optional<std::uint64_t> position) {
        return position && *position < std::uint64_t{longestFlexRayFrame} * 8
                   ? std::optional(static_cast<std::uint16_t>(*position))
                   : std::nullopt;
    }

    bool isDecodable(const ArxmlPlacedPdu& placed) {
        if (placed.headerId && (placed.header == PduHeader::Long || placed.offset != 0)) {
            model.leftOut(placed.pdu.element,
                          "in a container with long headers, or not at the start of a frame of "
                          "FlexRay; not decoded there");
            return false;
        }
        return placed.offset <= longestFlexRayFrame;
    }

    void addMessages(const FlexRayFrame& frame, std::optional<std::uint8_t> bound) {
        for (const FramedPdu& each : pdusOf(frame.element)) {
            const ArxmlPlacedPdu& placed = each.placed;
            const MessageKey key{placed.pdu.element.internal_object(), placed.headerId, bound,
                                 frame.timing.slot};
            const auto [known, isNew] = byPdu.try_emplace(key);
            if (isNew) {
                MessageDefinition message =
                    startArxmlMessage(reading, SignalKind::FlexRay, placed.pdu.element);
                message.channel = bound;
                message.id = frame.timing.slot;
                const ArxmlNodes::Ends ends = reading.nodes.ofTriggering(frame.triggering);
                message.sender = ends.senders.empty() ? "" : ends.senders.front();
                known->second = addPositioned<flexRaySignalDef_t>(reading, std::move(message), placed.pdu,
                                                                  longestFlexRayFrame);
            }
            addPositions<flexRaySignalDef_t>(
                reading, known->second, placed.pdu,
                [&](const ArxmlSignal& signal) { return positionOf(each, signal, frame.timing); });
        }
    }

    /// Within the frame.
    flexRayPosition_t positionOf(const FramedPdu& framed, const ArxmlSignal& signal,
                                 const FrameTiming& timing) {
        const std::uint32_t first = framed.placed.headerId ? 0 : framed.placed.offset * 8;
        flexRayPosition_t position;
        position.slot = timing.slot;
        position.baseCycle = timing.baseCycle;
        position.repetition = timing.repetition;
        position.type = !staticSlots || timing.slot <= *staticSlots;
        position.startBit = static_cast<std::uint16_t>(first + signal.common.startbit);
        position.pduId = framed.placed.headerId;
        if (position.pduId && (signal.updateBit || framed.updateBit)) {
            model.note(framed.placed.pdu.element, "update bits are not looked at in containers");
        } else if (framed.updateBit) {
            position.updateBit = framed.updateBit;
            if (signal.updateBit) {
                model.note(signal.element, "its update bit is not looked at beside that of its PDU");
            }
        } else if (signal.updateBit) {
            position.updateBit = updateBitOf(std::uint64_t{*signal.updateBit} + first);
        }
        return position;
    }

    ArxmlReading& reading;
    ArxmlModel& model;
    std::optional<std::uint64_t> staticSlots;
    std::vector<FlexRayFrame> frames; ///< in the order of the file
    std::map<FrameKey, std::size_t> byFrame;
    std::map<std::uint16_t, std::array<std::set<Identity>, 2>> inSlot; ///< frames on A and B
    std::map<Identity, std::vector<FramedPdu>> content;                ///< by frame
    std::map<MessageKey, ArxmlPositioned> byPdu;
};

} // namespace

void readArxmlFlexRay(ArxmlReading& reading, pugi::xml_node cluster) {
    FlexRayClusterReader(reading).read(cluster);
}

} // namespace rksignal

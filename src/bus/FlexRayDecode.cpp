// Decoding of received FlexRay frames: the per-frame hot path of FlexRaySignal.

#include "bus/FlexRaySignal.h"
#include "rkutil/hexdump.h"
#include "signal/FrameDecoder.h"
#include "signal/PduChain.h"

#include <algorithm>
#include <optional>

namespace {

constexpr LogSite site{"FlexRaySignal", "decodeMessage"};

/// The length against which byte ranges are tested: an even number, as FlexRay counts words, of 9 bits.
constexpr std::size_t lengthLimit(std::size_t dataSize) {
    return 2 * (dataSize >> 1 & 0xFF);
}

ReceivedFrame viewOf(const FlexRayExtTraceMessage& message) {
    return {message.payload, std::min(lengthLimit(message.data.size()), message.payload.size()),
            message.timestamp};
}

class FlexRayDecoder : public FrameDecoder<FlexRayDecoder, FlexRaySignal> {
  public:
    static constexpr LogSite site = ::site;

    FlexRayDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids,
                   const FlexRayExtTraceMessage& message)
        : FrameDecoder(table, frame, ids), chainEnd(message.data.size() & 0xFF) {}

    /// Inside a PDU the update bit does not count.
    static FieldPlace placeOf(const FlexRaySignal& signal) {
        FieldPlace place;
        if (signal.definition.positions.empty()) { // placed in the table by a client
            place.conditional = true;
            return place;
        }
        const flexRayPosition_t& position = signal.definition.positions.front();
        place.startByte = position.startByte;
        place.numBytes = position.numBytes;
        if (position.pduId) {
            place.conditional = true;
            place.search = Pdu;
            place.sought = *position.pduId;
        } else if (position.updateBit) {
            place.conditional = true;
            place.search = FieldPlace::updateBit;
            place.sought = *position.updateBit;
        }
        return place;
    }

    /// The frames of the same slot in other cycles: a signal stands in the lists of many, and programs of
    /// each would fill the caches.
    template <class Visit>
    static bool anyTwin(std::uint64_t key, Visit&& visit) {
        const std::uint64_t base = key & ~flexray::cycleTerm(flexray::cycleCount - 1);
        for (std::uint8_t cycle = 0; cycle < flexray::cycleCount; ++cycle) {
            if (visit(base + flexray::cycleTerm(cycle))) {
                return true;
            }
        }
        return false;
    }

    template <class Use>
    void inChain(std::uint8_t number, Use&& use) const {
        if (number == Pdu) {
            use.template operator()<pdu::flexRay>(PduBytes{frame.bytes, chainEnd});
        }
    }

    std::optional<std::size_t> originOf(const FieldWriter& writer) {
        if (writer.place.search != FieldPlace::updateBit) {
            return dataOf(signalOf(writer));
        }
        if (frame.isSet(writer.place.sought)) {
            return 0;
        }
        trace(writer, ": update bit not set");
        return std::nullopt;
    }

    void traceBytes() const {
        LogLine lines(LogLevel::Debug, std::cout, LogLine::Tag::None);
        hexdump(lines.out(), frame.bytes.data(), frame.bytes.size());
    }

  private:
    /// What a signal depends on. A frame in which a client has placed one without positions has `Nothing`
    /// that it could find.
    enum Search : std::uint8_t { Nothing, Pdu };

    /// Where the data of the signal's PDU begin.
    std::optional<std::size_t> dataOf(const FlexRaySignal& signal) {
        if (signal.definition.positions.empty()) {
            return std::nullopt;
        }
        const std::uint32_t wanted = signal.definition.positions.front().pduId.value_or(0);
        return tracing ? tracedPdu(signal, wanted) : findPdu(wanted);
    }

    /// Signals of one PDU mostly stand together, so the last answer is kept.
    std::optional<std::size_t> findPdu(std::uint32_t wanted) {
        if (lastPdu != wanted) {
            lastPdu = wanted;
            lastData = pdu::find<pdu::flexRay>(frame.bytes, chainEnd, wanted);
        }
        return lastData;
    }

    std::optional<std::size_t> tracedPdu(const FlexRaySignal& signal, std::uint32_t wanted) {
        logDebug(site, "search for PDU ", std::dec, wanted);
        const auto data = findPdu(wanted);
        if (data) {
            logDebug(site, "pduPayload = ", std::dec, *data);
        } else {
            logDebug(site, "PDU of ", signal.def.instance, " not found");
        }
        return data;
    }

    const std::size_t chainEnd;
    std::optional<std::uint32_t> lastPdu;
    std::optional<std::size_t> lastData;
};

} // namespace

bool FlexRaySignal::decodeMessage(const FlexRayExtTraceMessage& frm, std::vector<unsigned long>& ids,
                                  unsigned char tslId, SignalStorage* storage) {
    ids.clear();
    if (!flexray::carriesSignals(frm.frameKind)) {
        return false;
    }
    FrameTable<FlexRaySignal>& frames = framesOf(storage);
    const std::uint64_t change = frames.changes().latest();
    const std::uint64_t anyCycle = flexray::frameKey(tslId, frm.channel, frm.slot, frm.frameKind, 0);
    const bool isCycle = frm.cycle < flexray::cycleCount;
    const FrameProgram* const known = isCycle ? frames.memo.find(anyCycle, frm.cycle, change) : nullptr;
    if (known != nullptr && debug == 0) {
        FlexRayDecoder::decode(*known, frames, viewOf(frm), ids, frm);
        return !ids.empty();
    }
    const std::uint64_t key = anyCycle + flexray::cycleTerm(frm.cycle);
    auto* const frame = frames.lookup(key);
    if (frame == nullptr) {
        if (debug) {
            logDebug(site, "id = ", std::hex, key, std::dec, " not found");
        }
        return false;
    }
    if (debug) {
        logDebug(site, frm);
    }
    FlexRayDecoder::decode(frames, *frame, viewOf(frm), ids, frm);
    if (isCycle && frame->program()->isShared(change)) {
        frames.memo.note(anyCycle, frm.cycle, change, *frame->program(), frames.size());
    }
    return !ids.empty();
}

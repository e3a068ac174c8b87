// Decoding of received FlexRay frames: the per-frame hot path of FlexRaySignal.

#include "bus/FlexRaySignal.h"
#include "rkutil/hexdump.h"
#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"
#include "signal/PduChain.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string>

namespace {

constexpr LogSite site{"FlexRaySignal", "decodeMessage"};

/// Meaning of FieldWriter::Place::traits for FlexRay.
enum Trait : std::uint8_t {
    Conditional = 1, // the position says whether the signal is there
    Updated = 2,     // so does an update bit: number traits >> 2 of the byte in the high half of `startByte`
};

constexpr std::size_t firstByteOf(const FieldWriter::Place& place) {
    return place.startByte & 0xFF;
}

/// Keeps an update bit in the first 256 bytes at hand, for the sake of the cache.
FieldWriter::Place placeOf(const flexRayPosition_t& position) {
    if (position.pduId || position.updateBit.value_or(0) >= 8 * 256) {
        return {position.startByte, position.numBytes, Conditional};
    }
    if (!position.updateBit) {
        return {position.startByte, position.numBytes, 0};
    }
    const unsigned byte = *position.updateBit / 8;
    const unsigned bit = *position.updateBit % 8;
    return {static_cast<std::uint16_t>(byte << 8 | position.startByte), position.numBytes,
            static_cast<std::uint8_t>(bit << 2 | Updated)};
}

FieldWriter compile(FlexRaySignal& signal) {
    if (signal.definition.positions.empty()) { // placed in the table by a client
        return {signal, false, {}};
    }
    const flexRayPosition_t& position = signal.definition.positions.front();
    const bool direct = isExactly(signal) && rangeHoldsField(signal, position.numBytes);
    return {signal, direct, placeOf(position)};
}

/// The length against which byte ranges are tested: an even number, as FlexRay counts words, of 9 bits.
constexpr std::size_t lengthLimit(std::size_t dataSize) {
    return 2 * (dataSize >> 1 & 0xFF);
}

/// One call's view of the received frame.
class Reception {
  public:
    Reception(const FlexRayExtTraceMessage& message, std::vector<unsigned long>& ids)
        : message(message), ids(ids),
          length(std::min(lengthLimit(message.data.size()), message.payload.size())),
          tracing(BaseSignal::debug != 0) {}

    void decode(const FrameProgram& program) {
        for (const FieldWriter& writer : program.fields()) {
            if (tracing || !writer.isDirect()) [[unlikely]] {
                decodeOne(writer);
                continue;
            }
            std::size_t start = firstByteOf(writer.place);
            if ((writer.place.traits & Updated) != 0) {
                if (!isSet(writer.place.startByte >> 8, writer.place.traits >> 2)) {
                    continue;
                }
            } else if (writer.place.traits != 0) {
                const auto offset = offsetOf(writer);
                if (!offset) {
                    continue;
                }
                start += *offset;
            }
            if (start + writer.place.numBytes > length) {
                continue;
            }
            writer.store(wordAt(std::span(message.payload), start), message.timestamp);
            ids.push_back(writer.id);
        }
    }

  private:
    /// The general case: classes of clients, debug output. Kept out of the loop.
    [[gnu::noinline]] void decodeOne(const FieldWriter& writer) {
        const std::string& name = writer.signal->def.instance;
        if (tracing) {
            logDebug(site, "Signal = ", name);
        }
        const auto offset = offsetOf(writer);
        if (!offset) {
            return;
        }
        const std::size_t start = *offset + firstByteOf(writer.place);
        if (start + writer.place.numBytes > length) {
            if (tracing) {
                logDebug(site, name, ": payload to small");
            }
            return;
        }
        if (tracing) {
            tracePayload();
        }
        writer.signal->write(message.payload.data() + start, writer.place.numBytes, message.timestamp);
        ids.push_back(writer.id);
    }

    /// Where the bytes begin from which the byte range counts, or nothing if the signal is not there or has
    /// not been updated. Inside a PDU the update bit does not count.
    std::optional<std::size_t> offsetOf(const FieldWriter& writer) {
        const auto& signal = static_cast<const FlexRaySignal&>(*writer.signal);
        if (signal.definition.positions.empty()) {
            return std::nullopt;
        }
        const flexRayPosition_t& position = signal.definition.positions.front();
        if (position.pduId) {
            return tracing ? tracedPdu(signal, *position.pduId) : findPdu(*position.pduId);
        }
        if (position.updateBit && !isSet(*position.updateBit / 8U, *position.updateBit % 8)) {
            if (tracing) {
                logDebug(site, signal.def.instance, ": update bit not set");
            }
            return std::nullopt;
        }
        return 0;
    }

    /// Where the data of a PDU begin. Signals of one PDU mostly stand together, so the last answer is kept.
    std::optional<std::size_t> findPdu(std::uint32_t wanted) {
        if (lastPdu != wanted) {
            lastPdu = wanted;
            lastOffset = pdu::find<pdu::flexRay>(message.payload, message.data.size() & 0xFF, wanted);
        }
        return lastOffset;
    }

    std::optional<std::size_t> tracedPdu(const FlexRaySignal& signal, std::uint32_t wanted) {
        logDebug(site, "search for PDU ", std::dec, wanted);
        const auto offset = findPdu(wanted);
        if (offset) {
            logDebug(site, "pduPayload = ", std::dec, *offset);
        } else {
            logDebug(site, "PDU of ", signal.def.instance, " not found");
        }
        return offset;
    }

    /// A bit past the payload is clear.
    bool isSet(std::size_t byte, int bit) const {
        return byte < message.payload.size() && (message.payload[byte] >> bit & 1) != 0;
    }

    void tracePayload() const {
        const std::lock_guard guard(LogUtil::logMutex);
        hexdump(std::cout, message.payload.data(), message.payload.size());
        std::cout.flush();
    }

    const FlexRayExtTraceMessage& message;
    std::vector<unsigned long>& ids;
    const std::size_t length; ///< within the payload
    const bool tracing;
    std::optional<std::uint32_t> lastPdu;
    std::optional<std::size_t> lastOffset;
};

} // namespace

bool FlexRaySignal::decodeMessage(const FlexRayExtTraceMessage& frm, std::vector<unsigned long>& ids,
                                  unsigned char tslId, SignalStorage* storage) {
    ids.clear();
    if (!flexray::carriesSignals(frm.frameKind)) {
        return false;
    }
    const std::uint64_t key = flexray::frameKey(tslId, frm.channel, frm.slot, frm.frameKind, frm.cycle);
    FrameTable<FlexRaySignal>& frames = framesOf(storage);
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
    Reception(frm, ids).decode(FrameProgram::of(*frame, frames, compile));
    return !ids.empty();
}

// Decoding of received CAN and CAN FD frames: the per-frame hot path of CANSignal.

#include "bus/CANKey.h"
#include "bus/CANSignal.h"
#include "signal/FrameDecoder.h"
#include "signal/PduChain.h"
#include "signal/SignalFiling.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

namespace {

constexpr LogSite site{"CANSignal", "decodeMessage"};

/// The data length code of a payload length (ISO 11898-1): what a classic signal is told as its length.
constexpr unsigned long lengthCode(unsigned length) {
    if (length <= 8) {
        return length;
    }
    if (length <= 24) {
        return (length + 27) / 4;
    }
    return length <= 64 ? (length + 191) / 16 : 15;
}

std::size_t receivedLength(const CANExtTraceMessage& message) {
    return std::min<std::size_t>(message.length, message.payload.size());
}

/// `length`: of what was received.
std::uint64_t firstWordOf(const CANExtTraceMessage& message, std::size_t length) {
    std::uint64_t word = wholeWordAt(message.payload.data());
    if (length < sizeof word) [[unlikely]] {
        word &= bitfield::ones(8 * static_cast<int>(length));
    }
    return word;
}

ReceivedFrame viewOf(const CANExtTraceMessage& message) {
    const std::size_t length = receivedLength(message);
    return {message.payload, length, message.timestamp, firstWordOf(message, length)};
}

class CANDecoder : public FrameDecoder<CANDecoder, CANSignal> {
  public:
    static constexpr LogSite site = ::site;

    CANDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids,
               const CANExtTraceMessage& message, std::uint64_t key)
        : FrameDecoder(table, frame, ids), message(message), key(key) {}

    static FieldPlace placeOf(const CANSignal& signal) {
        const canSignalDef_t& definition = signal.definition;
        FieldPlace place;
        place.selects = signal.def.multiplexer != 0;
        place.wholeFrame = !definition.canFD;
        if (definition.canFD) {
            place.conditional = definition.pduId.has_value();
            place.sought = definition.pduId.value_or(0);
            place.startByte = definition.startByte;
            place.numBytes = definition.numBytes;
        }
        return place;
    }

    void traceSignal(const BaseSignal& signal) const {
        logDebug(site, "Signal = ", signal.def.instance, ", id = 0x", std::hex, key, std::dec);
    }

    unsigned long toldLength() const { return lengthCode(message.length); }

    template <class Use>
    void inChain(std::uint8_t /*number*/, Use&& use) const {
        use.template operator()<pdu::canFd>(PduBytes{frame.bytes, frame.length});
    }

    /// The data of the signal's PDU.
    std::optional<std::size_t> originOf(const FieldWriter& writer) const {
        const std::uint32_t wanted = signalOf(writer).definition.pduId.value_or(0);
        const auto data = pdu::find<pdu::canFd>(frame.bytes, frame.length, wanted);
        if (!data) {
            trace(writer, " not found");
        }
        return data;
    }

    /// Decodes the signals that the multiplexer's value selects. The value's term stays in `key`: a second
    /// multiplexer of the frame adds its own on top. Selected CAN FD signals are neither searched in a PDU
    /// nor checked for length nor reported, unlike classic ones; this is deliberate. One level only.
    void decodeSelected(const FieldWriter& multiplexer) {
        auto* const selected = findSelected(multiplexer);
        if (selected == nullptr) {
            return;
        }
        const FrameProgram& program = FrameProgram::of(
            *selected, table, placeOf, [](std::uint64_t each, auto&& visit) { return anyTwin(each, visit); });
        if (storedWhole(program)) {
            return;
        }
        const unsigned long* id = program.ids().data();
        for (const FieldWriter& writer : program.writers()) {
            const unsigned long ownId = *id++;
            if (tracing) {
                logDebug(site, "Multiplexed signal = ", writer.signal->def.instance, ", id = 0x", std::hex,
                         key, std::dec);
            }
            if (writer.place.wholeFrame) {
                writeWhole(writer);
                ids.push_back(ownId);
            } else {
                writeUnchecked(writer);
            }
        }
    }

  private:
    /// A private multiplexer that was just written holds what was written; others are read as clients read
    /// them.
    static bool readMultiplexer(const FieldWriter& multiplexer, unsigned long& raw) {
        if (multiplexer.isDirect() && !multiplexer.isShared() && BaseSignal::debug == 0) {
            raw = multiplexer.slot->raw;
            return true;
        }
        unsigned long timestamp = 0;
        return multiplexer.signal->read(raw, timestamp);
    }

    Table::Frame* findSelected(const FieldWriter& multiplexer) {
        unsigned long raw = 0;
        if (!readMultiplexer(multiplexer, raw)) {
            return nullptr;
        }
        key += can::multiplexerTerm(raw);
        if (tracing) {
            logDebug(site, "mux = ", std::dec, raw, ", id = 0x", std::hex, key, std::dec);
        }
        auto* const selected = table.lookup(key);
        if (selected == nullptr && tracing) {
            logDebug(site, multiplexer.signal->def.instance,
                     ": Multiplexed CAN message not in canMessageContainer: ", message);
        }
        return selected;
    }

    /// Writes a byte range whatever the frame's length, zero past the message's payload.
    void writeUnchecked(const FieldWriter& writer) const {
        const std::size_t start = writer.place.startByte;
        if (writer.isDirect() && !tracing) {
            writer.store(wordAt(frame.bytes, start), frame.timestamp);
            return;
        }
        std::array<unsigned char, 512> bytes{}; // behind the payload as many as a range can reach
        std::copy(frame.bytes.begin(), frame.bytes.end(), bytes.begin());
        writer.signal->write(bytes.data() + start, writer.place.numBytes, frame.timestamp);
    }

    const CANExtTraceMessage& message;
    std::uint64_t key;
};

[[gnu::noinline]] void traceFrame(const CANExtTraceMessage& message, std::uint64_t key,
                                  const FrameTable<CANSignal>& container) {
    logDebug(site, std::hex, key, std::dec);
    logDebug(site, "ctm.getChannel()=", std::dec, unsigned{message.channel});
    logDebug(site, "ctm.getCanId()=", std::hex, message.canId, std::dec);
    if (BaseSignal::debug >= 2) {
        filing::dump(container, site);
    }
}

/// Any frame.
[[gnu::noinline]] bool decodeOther(FrameTable<CANSignal>& container, FrameTable<CANSignal>::Frame& frame,
                                   const CANExtTraceMessage& message, std::vector<unsigned long>& ids) {
    ids.clear();
    CANDecoder::decode(container, frame, viewOf(message), ids, message, frame.key());
    return !ids.empty();
}

/// The same with debug output.
[[gnu::noinline]] bool decodeTraced(FrameTable<CANSignal>& container, const CANExtTraceMessage& message,
                                    std::vector<unsigned long>& ids, std::uint64_t key) {
    ids.clear();
    traceFrame(message, key, container);
    if (auto* const frame = container.lookup(key)) {
        return decodeOther(container, *frame, message, ids);
    }
    if (BaseSignal::debug >= 2) {
        logDebug(site, "CAN message not in canMessageContainer: ", message, ", id = ", std::hex, key,
                 std::dec);
    }
    return false;
}

[[gnu::noinline]] bool reportEmpty() {
    logDebug(site, "CANContainer is empty");
    return false;
}

} // namespace

bool CANSignal::decodeMessage(const CANExtTraceMessage& ctm, std::vector<unsigned long>& ids,
                              unsigned char tslId, SignalStorage* storage) {
    if (filing::storageOrDefault(storage).canSignals.empty()) {
        ids.clear();
        return debug != 0 && reportEmpty();
    }
    const std::uint64_t key = can::frameKey(tslId, ctm.channel, ctm.canId, ctm.isExtended(), ctm.isFd());
    FrameTable<CANSignal>& container = containerOf(storage);
    if (debug != 0) [[unlikely]] {
        return decodeTraced(container, ctm, ids, key);
    }
    auto* const frame = container.lookup(key);
    if (frame == nullptr) {
        ids.clear();
        return false;
    }
    const std::size_t length = receivedLength(ctm);
    return CANDecoder::storedAtOnce(container, *frame, firstWordOf(ctm, length), length, ctm.timestamp,
                                    ids) ||
           decodeOther(container, *frame, ctm, ids);
}

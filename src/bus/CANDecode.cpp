// Decoding of received CAN and CAN FD frames: the per-frame hot path of CANSignal.

#include "bus/CANKey.h"
#include "bus/CANSignal.h"
#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"
#include "signal/PduChain.h"
#include "signal/SignalFiling.h"

#include <algorithm>
#include <array>
#include <span>

namespace {

constexpr LogSite site{"CANSignal", "decodeMessage"};

/// Meaning of FieldWriter::Place::traits for CAN.
enum Trait : std::uint8_t {
    Fd = 1,          // decoded from a byte range
    InPdu = 2,       // inside the PDU that the definition names
    Multiplexer = 4, // selects further signals
};

FieldWriter compile(CANSignal& signal) {
    const canSignalDef_t& definition = signal.definition;
    const auto traits =
        static_cast<std::uint8_t>((definition.canFD ? Fd : 0) | (definition.pduId ? InPdu : 0) |
                                  (signal.def.multiplexer != 0 ? Multiplexer : 0));
    const bool direct =
        isExactly(signal) && (!definition.canFD || rangeHoldsField(signal, definition.numBytes));
    return {signal, direct, {definition.startByte, definition.numBytes, traits}};
}

std::uint32_t pduIdOf(const FieldWriter& writer) {
    return static_cast<const CANSignal*>(writer.signal)->definition.pduId.value_or(0);
}

bool hasExtendedId(const CANExtTraceMessage& message) {
    return message.frameFormat == 1 || message.frameFormat == 3;
}

bool isCanFd(const CANExtTraceMessage& message) {
    return message.frameFormat == 2 || message.frameFormat == 3;
}

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

/// One call's view of the received frame.
class Reception {
  public:
    Reception(const CANExtTraceMessage& message, FrameTable<CANSignal>& container,
              std::vector<unsigned long>& ids)
        : message(message), container(container), ids(ids),
          length(std::min<std::size_t>(message.length, message.payload.size())),
          firstWord(wordAt(0) & bitfield::ones(8 * static_cast<int>(length))),
          tracing(BaseSignal::debug != 0) {}

    /// Decodes the signals filed under the frame's own key.
    void decode(std::uint64_t key, FrameTable<CANSignal>::Frame& frame) {
        for (const FieldWriter& writer : FrameProgram::of(frame, container, compile).fields()) {
            if (tracing || !writer.isDirect() || (writer.place.traits & ~Fd) != 0) [[unlikely]] {
                decodeOne(writer, key);
                continue;
            }
            const std::size_t start = writer.place.startByte;
            const bool fd = (writer.place.traits & Fd) != 0;
            if (fd && start + writer.place.numBytes > length) {
                continue;
            }
            writer.store(fd ? wordAt(start) : firstWord, message.timestamp);
            ids.push_back(writer.id);
        }
    }

  private:
    /// The 8 payload bytes from `start` on; those past the 64 bytes of the message are zero.
    std::uint64_t wordAt(std::size_t start) const {
        return ::wordAt(std::span<const std::uint8_t, 64>(message.payload), start);
    }

    /// The general case: PDUs, multiplexers, classes of clients, debug output. Kept out of the loop.
    [[gnu::noinline]] void decodeOne(const FieldWriter& writer, std::uint64_t& key) const {
        if (tracing) {
            logDebug(site, "Signal = ", writer.signal->def.instance, ", id = 0x", std::hex, key, std::dec);
        }
        if (writer.place.traits & Fd) {
            if (!writeRange(writer)) {
                return;
            }
        } else {
            writeClassic(writer);
        }
        ids.push_back(writer.id);
        if (writer.place.traits & Multiplexer) {
            decodeSelected(writer, key);
        }
    }

    void writeClassic(const FieldWriter& writer) const {
        if (writer.isDirect() && !tracing) {
            writer.store(firstWord, message.timestamp);
        } else {
            writer.signal->write(message.payload.data(), lengthCode(message.length), message.timestamp);
        }
    }

    /// Writes the bytes from `start` on, zero where the message has none.
    void writeBytes(const FieldWriter& writer, std::size_t start) const {
        const std::size_t count = writer.place.numBytes;
        if (writer.isDirect() && !tracing) {
            writer.store(wordAt(start), message.timestamp);
        } else if (start + count <= message.payload.size()) {
            writer.signal->write(message.payload.data() + start, count, message.timestamp);
        } else {
            std::array<unsigned char, 256> bytes{}; // as many as a range can have
            if (start < message.payload.size()) {
                std::copy(message.payload.begin() + static_cast<std::ptrdiff_t>(start), message.payload.end(),
                          bytes.begin());
            }
            writer.signal->write(bytes.data(), count, message.timestamp);
        }
    }

    /// Writes a CAN FD signal if its PDU is there and its byte range was received. \return whether it was
    bool writeRange(const FieldWriter& writer) const {
        std::size_t offset = 0;
        if (writer.place.traits & InPdu) {
            const auto data = pdu::find<pdu::canFd>(message.payload, length, pduIdOf(writer));
            if (!data) {
                trace(writer, " not found");
                return false;
            }
            offset = *data;
        }
        const std::size_t start = offset + writer.place.startByte;
        if (start + writer.place.numBytes > length) {
            trace(writer, ": payload to small");
            return false;
        }
        writeBytes(writer, start);
        return true;
    }

    /// Decodes the signals that the multiplexer's value selects. The value's term stays in `key`: a second
    /// multiplexer of the frame adds its own on top. Selected CAN FD signals are neither searched in a PDU
    /// nor checked for length nor reported, unlike classic ones; this is deliberate. One level only.
    void decodeSelected(const FieldWriter& multiplexer, std::uint64_t& key) const {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (!multiplexer.signal->read(raw, timestamp)) {
            return;
        }
        key += can::multiplexerTerm(raw);
        if (tracing) {
            logDebug(site, "mux = ", std::dec, raw, ", id = 0x", std::hex, key, std::dec);
        }
        auto* const frame = container.lookup(key);
        if (frame == nullptr) {
            if (tracing) {
                logDebug(site, multiplexer.signal->def.instance,
                         ": Multiplexed CAN message not in canMessageContainer: ", message);
            }
            return;
        }
        for (const FieldWriter& writer : FrameProgram::of(*frame, container, compile).fields()) {
            if (tracing) {
                logDebug(site, "Multiplexed signal = ", writer.signal->def.instance, ", id = 0x", std::hex,
                         key, std::dec);
            }
            if (writer.place.traits & Fd) {
                writeBytes(writer, writer.place.startByte);
            } else {
                writeClassic(writer);
                ids.push_back(writer.id);
            }
        }
    }

    void trace(const FieldWriter& writer, const char* text) const {
        if (tracing) {
            logDebug(site, writer.signal->def.instance, text);
        }
    }

    const CANExtTraceMessage& message;
    FrameTable<CANSignal>& container;
    std::vector<unsigned long>& ids;
    const std::size_t length;
    const std::uint64_t firstWord;
    const bool tracing;
};

void traceFrame(const CANExtTraceMessage& message, std::uint64_t key,
                const FrameTable<CANSignal>& container) {
    logDebug(site, std::hex, key, std::dec);
    logDebug(site, "ctm.getChannel()=", std::dec, unsigned{message.channel});
    logDebug(site, "ctm.getCanId()=", std::hex, message.canId, std::dec);
    if (BaseSignal::debug >= 2) {
        filing::dump(container, site);
    }
}

} // namespace

bool CANSignal::decodeMessage(const CANExtTraceMessage& ctm, std::vector<unsigned long>& ids,
                              unsigned char tslId, SignalStorage* storage) {
    ids.clear();
    if (filing::storageOrDefault(storage).canSignals.empty()) {
        if (debug) {
            logDebug(site, "CANContainer is empty");
        }
        return false;
    }
    const std::uint64_t key = can::frameKey(tslId, ctm.channel, ctm.canId, hasExtendedId(ctm), isCanFd(ctm));
    FrameTable<CANSignal>& container = containerOf(storage);
    if (debug) {
        traceFrame(ctm, key, container);
    }
    auto* const frame = container.lookup(key);
    if (frame == nullptr) {
        if (debug >= 2) {
            logDebug(site, "CAN message not in canMessageContainer: ", ctm, ", id = ", std::hex, key,
                     std::dec);
        }
        return false;
    }
    Reception(ctm, container, ids).decode(key, *frame);
    return !ids.empty();
}

// Received Ethernet frames: which signals they carry, and decoding them. The per-frame hot path of
// EthernetSignal.

#include "bus/EthernetKey.h"
#include "bus/EthernetSignal.h"
#include "rkutil/hexdump.h"
#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"
#include "signal/PduChain.h"
#include "signal/SignalFiling.h"

#include <optional>
#include <span>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr LogSite decodeSite{"EthernetSignal", "decode"};
constexpr LogSite querySite{"EthernetSignal", "signalsInUse"};

bool analyze(LogSite site, Bytes frame, miiFrameInfo_t& info) {
    const bool analyzed = MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info);
    if (BaseSignal::debug) {
        logDebug(site, analyzed ? "analyzeFrame:" : "analyzeFrame failed: ", info);
    }
    return analyzed;
}

void traceKey(LogSite site, std::uint64_t key, const char* decision) {
    if (BaseSignal::debug) {
        logDebug(site, std::hex, key, std::dec, decision);
    }
}

/// The first sight of a kind of frame. \return the entry of the positive list, or null
FrameTable<EthernetSignal>::Frame* decide(const LogSite& site, const miiFrameInfo_t& info,
                                          std::uint8_t channel, std::uint64_t key, EthernetTables& tables) {
    if (BaseSignal::debug) {
        for (const auto& entry : std::as_const(tables.frames)) {
            logDebug(site, *entry.first);
        }
    }
    auto* const decided = tables.decide(info, channel, key);
    traceKey(site, key,
             decided != nullptr ? " in use, inserted in positiveList"
                                : " not in use, inserted in negativeList");
    if (BaseSignal::debug && decided != nullptr && &site == &decodeSite) {
        logDebug(site, "positiveList->second.size() = ", std::dec, decided->signals().size());
    }
    return decided;
}

/// The entry of an analysed frame in the positive list, or null if it carries no signal. `site` asks.
FrameTable<EthernetSignal>::Frame* lookUp(const LogSite& site, const miiFrameInfo_t& info,
                                          std::uint8_t channel, EthernetTables& tables) {
    const std::uint64_t key = ethernet::frameKey(info, channel);
    if (tables.negative.contains(key)) {
        traceKey(site, key, " found in negativeList");
        return nullptr;
    }
    if (auto* const known = tables.positive.lookup(key)) {
        traceKey(site, key, " found in positiveList");
        return known;
    }
    return decide(site, info, channel, key, tables);
}

/// `traits` of a writer is the kind of its container.
FieldWriter compile(EthernetSignal& signal) {
    const ethernetPosition_t& position = signal.position();
    const bool direct = isExactly(signal) && rangeHoldsField(signal, position.numBytes);
    return {signal,
            direct,
            {position.startByte, position.numBytes, static_cast<std::uint8_t>(position.ethSignalType)}};
}

/// One call's view of the received frame.
class Reception {
  public:
    Reception(Bytes frame, std::size_t payload, std::uint64_t timestamp, std::vector<unsigned long>& ids)
        : frame(frame), payload(payload), timestamp(timestamp), ids(ids), tracing(BaseSignal::debug != 0) {}

    void decode(const FrameProgram& program) {
        for (const FieldWriter& writer : program.fields()) {
            const std::size_t start = payload + writer.place.startByte;
            if (tracing || !writer.isDirect() || writer.place.traits != 0) [[unlikely]] {
                decodeOne(writer);
            } else if (start + writer.place.numBytes <= frame.size()) {
                writer.store(wordAt(frame, start), timestamp);
                ids.push_back(writer.id);
            }
        }
    }

  private:
    /// The general case: containers, classes of clients, debug output. Kept out of the loop.
    [[gnu::noinline]] void decodeOne(const FieldWriter& writer) {
        trace(writer, "checking for ", "");
        const auto data = dataOf(static_cast<const EthernetSignal&>(*writer.signal));
        if (!data) {
            trace(writer, "", " not found");
            return;
        }
        const std::size_t start = *data + writer.place.startByte;
        if (start + writer.place.numBytes > frame.size()) {
            trace(writer, "", ": payload to small");
            return;
        }
        if (writer.isDirect() && !tracing) {
            writer.store(wordAt(frame, start), timestamp);
        } else {
            writer.signal->write(frame.data() + start, writer.place.numBytes, timestamp);
        }
        ids.push_back(writer.id);
    }

    /// Where the data of the signal's container begin in the frame. The offset has 16 bits, on purpose.
    std::optional<std::uint16_t> dataOf(const EthernetSignal& signal) {
        const ethernetPosition_t& position = signal.position();
        switch (position.ethSignalType) {
        case ethSignalPosType_t::DEFAULT:
            return static_cast<std::uint16_t>(payload);
        case ethSignalPosType_t::IPDU:
            return find<pdu::ipdu>(position.pduId, [this](std::size_t header, unsigned id, bool found) {
                logDebug(decodeSite, "check pdu at ", std::dec, payload + header);
                traceVisit(found, "IPDU ", id);
            });
        case ethSignalPosType_t::SPDU:
            return find<pdu::spdu>(position.messageId, [](std::size_t /*header*/, unsigned id, bool found) {
                traceVisit(found, "SPDU ", id);
            });
        case ethSignalPosType_t::SOMEIP:
            return find<pdu::someIp>(pdu::someIpIdentifier(position.serviceId, position.methodEventId),
                                     [](std::size_t /*header*/, unsigned id, bool /*found*/) {
                                         logDebug(decodeSite, "check serviceID ", std::hex, id >> 16,
                                                  ", methodeEventId ", id & 0xFFFF, std::dec);
                                     });
        }
        logError(decodeSite, signal.def.instance,
                 ": unknown ethernet signal type = ", position.ethSignalType);
        return std::nullopt;
    }

    /// `visit` sees the walk when tracing. Signals of one container mostly follow one another: it is searched
    /// once for all of them.
    template <pdu::Chain chain, class Visit>
    std::optional<std::uint16_t> find(std::uint64_t wanted, Visit visit) {
        const Bytes containers = frame.subspan(payload);
        if (tracing) {
            return inFrame(pdu::find<chain>(containers, containers.size(), wanted, visit));
        }
        if (lastChain != &chain || lastWanted != wanted) {
            lastFound = inFrame(pdu::find<chain>(containers, containers.size(), wanted));
            lastChain = &chain;
            lastWanted = wanted;
        }
        return lastFound;
    }

    std::optional<std::uint16_t> inFrame(std::optional<std::size_t> data) const {
        return data ? std::optional(static_cast<std::uint16_t>(payload + *data)) : std::nullopt;
    }

    static void traceVisit(bool found, const char* kind, unsigned id) {
        logDebug(decodeSite, found ? "found: " : "skipped: ", kind, std::hex, id, std::dec);
    }

    void trace(const FieldWriter& writer, const char* before, const char* behind) const {
        if (tracing) {
            logDebug(decodeSite, before, writer.signal->def.instance, behind);
        }
    }

    const Bytes frame;
    const std::size_t payload;
    const std::uint64_t timestamp;
    std::vector<unsigned long>& ids;
    const bool tracing;
    const pdu::Chain* lastChain = nullptr;
    std::uint64_t lastWanted = 0;
    std::optional<std::uint16_t> lastFound;
};

void traceSize(Bytes frame) {
    logDebug(decodeSite, "frame size = ", std::dec, frame.size());
    if (BaseSignal::debug > 2) {
        const std::lock_guard guard(LogUtil::logMutex);
        hexdump(std::cout, frame.data(), frame.size());
        std::cout.flush();
    }
}

} // namespace

bool EthernetSignal::decode(unsigned char channel, const std::vector<unsigned char>& frame,
                            unsigned long time, std::vector<unsigned long>& ids, SignalStorage* storage) {
    ids.clear();
    miiFrameInfo_t info{};
    if (!analyze(decodeSite, frame, info)) {
        return false;
    }
    if (debug) {
        traceSize(frame);
    }
    EthernetTables& tables = tablesOf(storage);
    auto* const known = lookUp(decodeSite, info, channel, tables);
    if (known == nullptr) {
        return false;
    }
    Reception(frame, info.payloadOffset, time, ids)
        .decode(FrameProgram::of(*known, tables.positive, compile));
    return !ids.empty();
}

bool EthernetSignal::decodeMessage(const MIITraceMessage& msg, std::vector<unsigned long>& ids,
                                   SignalStorage* storage) {
    return tablesOf(storage).channelsInUse[msg.channel] &&
           decode(msg.channel, msg.frame, msg.timestamp, ids, storage);
}

bool EthernetSignal::decodeMessage(const EthernetTraceMessage& msg, std::vector<unsigned long>& ids,
                                   SignalStorage* storage) {
    return msg.kind == EthernetTraceMessage::Frame && tablesOf(storage).channelsInUse[msg.channel] &&
           decode(msg.channel, msg.frame, msg.timestamp, ids, storage);
}

namespace {

/// What a raw trace record says of its frame.
struct RecordedFrame {
    std::uint8_t channel;
    Bytes bytes;
};

std::optional<RecordedFrame> recordedFrame(const unsigned char* record) {
    constexpr std::uint32_t ethernetRecord = 4;
    constexpr std::uint32_t miiRecord = 14;
    const auto frameBehind = [record](std::size_t length) {
        return Bytes(record + length + 2, bigEndian<2>(record + length));
    };
    switch (bigEndian<2>(record + 2)) {
    case ethernetRecord:
        if (record[15] != EthernetTraceMessage::Frame) {
            return std::nullopt;
        }
        return RecordedFrame{record[14], frameBehind(20)};
    case miiRecord:
        return RecordedFrame{record[16], frameBehind(24)};
    default:
        return std::nullopt;
    }
}

} // namespace

bool EthernetSignal::signalsInUse(const unsigned char* record, const unsigned char* /*ignored*/,
                                  SignalStorage* storage) {
    // Byte 16 for both types, on purpose: it is the channel of an MII record, and an Ethernet record has its
    // channel there too.
    EthernetTables& tables = tablesOf(storage);
    if (filing::storageOrDefault(storage).ethernetSignals.empty() || !tables.channelsInUse[record[16]]) {
        return false;
    }
    const auto frame = recordedFrame(record);
    miiFrameInfo_t info{};
    return frame && analyze(querySite, frame->bytes, info) &&
           lookUp(querySite, info, frame->channel, tables) != nullptr;
}

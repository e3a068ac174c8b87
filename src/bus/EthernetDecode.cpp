// Received Ethernet frames: which signals they carry, and decoding them. The per-frame hot path of
// EthernetSignal.

#include "bus/EthernetKey.h"
#include "bus/EthernetSignal.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "rkutil/hexdump.h"
#include "signal/FrameDecoder.h"
#include "signal/PduChain.h"
#include "signal/SignalFiling.h"

#include <algorithm>
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
[[gnu::noinline]] FrameTable<EthernetSignal>::Frame* decide(const LogSite& site, const miiFrameInfo_t& info,
                                                            std::uint8_t channel, std::uint64_t key,
                                                            EthernetTables& tables) {
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

/// The entry of an analysed frame in the positive list, or null if it carries no signal. `site` asks. Inline,
/// with the first sight kept out: a call would save and restore every register of the caller.
[[gnu::always_inline]] inline FrameTable<EthernetSignal>::Frame*
lookUp(const LogSite& site, const miiFrameInfo_t& info, std::uint8_t channel, EthernetTables& tables) {
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

/// An offset in a frame has 16 bits, on purpose.
constexpr std::uint16_t offsetInFrame(std::size_t offset) {
    return static_cast<std::uint16_t>(offset);
}

/// A payload that begins past the frame, which another trace library may claim, is not there.
ReceivedFrame viewOf(Bytes bytes, const miiFrameInfo_t& info, std::uint64_t timestamp) {
    ReceivedFrame frame{bytes, bytes.size(), timestamp};
    frame.origin.reset();
    if (info.payloadOffset <= bytes.size()) {
        frame.origin = offsetInFrame(info.payloadOffset);
    }
    return frame;
}

class EthernetDecoder : public FrameDecoder<EthernetDecoder, EthernetSignal> {
  public:
    static constexpr LogSite site = decodeSite;

    EthernetDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids,
                    const miiFrameInfo_t& info)
        : FrameDecoder(table, frame, ids), payload(info.payloadOffset),
          containers(frame.bytes.subspan(std::min<std::size_t>(payload, frame.bytes.size()))) {}

    static FieldPlace placeOf(const EthernetSignal& signal) {
        const ethernetPosition_t& position = signal.position();
        FieldPlace place;
        place.startByte = position.startByte;
        place.numBytes = position.numBytes;
        if (position.ethSignalType != ethSignalPosType_t::DEFAULT) {
            place.conditional = true;
            setContainer(position, place);
        }
        return place;
    }

    template <class Use>
    void inChain(std::uint8_t number, Use&& use) const {
        constexpr std::size_t inFrame = 0xFFFF; // offsetInFrame
        const PduBytes pdus{containers, containers.size(), payload, inFrame};
        switch (number) {
        case Ipdu:
            return use.template operator()<pdu::ipdu>(pdus);
        case Spdu:
            return use.template operator()<pdu::spdu>(pdus);
        case SomeIp:
            return use.template operator()<pdu::someIp>(pdus);
        default:
            return;
        }
    }

    static void traceSignal(const BaseSignal& signal) {
        logDebug(site, "checking for ", signal.def.instance);
    }

    /// The data of the signal's container.
    std::optional<std::size_t> originOf(const FieldWriter& writer) {
        const auto data = frame.origin ? dataOf(signalOf(writer)) : std::nullopt;
        if (!data) {
            trace(writer, " not found");
        }
        return data;
    }

  private:
    /// How the container of a signal is searched.
    enum Search : std::uint8_t {
        Nothing,
        Ipdu,
        Spdu,
        SomeIp,
        Never, ///< no message has its identifier
    };

    static void setContainer(const ethernetPosition_t& position, FieldPlace& place) {
        const std::uint64_t message = pdu::someIpIdentifier(position.serviceId, position.methodEventId);
        switch (position.ethSignalType) {
        case ethSignalPosType_t::DEFAULT:
            return;
        case ethSignalPosType_t::IPDU:
            place.search = Ipdu;
            place.sought = position.pduId;
            return;
        case ethSignalPosType_t::SPDU:
            place.search = Spdu;
            place.sought = position.messageId;
            return;
        case ethSignalPosType_t::SOMEIP:
            place.search = message <= UINT32_MAX ? SomeIp : Never;
            place.sought = static_cast<std::uint32_t>(message);
            return;
        }
        place.selects = true; // keeps the frame from being stored at once: the type is reported each time
    }

    std::optional<std::size_t> dataOf(const EthernetSignal& signal) {
        const ethernetPosition_t& position = signal.position();
        switch (position.ethSignalType) {
        case ethSignalPosType_t::DEFAULT:
            return frame.origin;
        case ethSignalPosType_t::IPDU:
            return find<pdu::ipdu>(position.pduId, [this](std::size_t header, unsigned id, bool found) {
                logDebug(site, "check pdu at ", std::dec, payload + header);
                traceVisit(found, "IPDU ", id);
            });
        case ethSignalPosType_t::SPDU:
            return find<pdu::spdu>(position.messageId, [](std::size_t /*header*/, unsigned id, bool found) {
                traceVisit(found, "SPDU ", id);
            });
        case ethSignalPosType_t::SOMEIP:
            return find<pdu::someIp>(pdu::someIpIdentifier(position.serviceId, position.methodEventId),
                                     [](std::size_t /*header*/, unsigned id, bool /*found*/) {
                                         logDebug(site, "check serviceID ", std::hex, id >> 16,
                                                  ", methodeEventId ", id & 0xFFFF, std::dec);
                                     });
        }
        logError(site, signal.def.instance, ": unknown ethernet signal type = ", position.ethSignalType);
        return std::nullopt;
    }

    /// `visit` sees the walk when tracing. Signals of one container mostly follow one another: it is searched
    /// once for all of them.
    template <pdu::Chain chain, class Visit>
    std::optional<std::size_t> find(std::uint64_t wanted, Visit visit) {
        if (tracing) {
            return inFrame(pdu::find<chain>(containers, containers.size(), wanted, visit));
        }
        if (lastChain != &chain || lastWanted != wanted) {
            lastData = inFrame(pdu::find<chain>(containers, containers.size(), wanted));
            lastChain = &chain;
            lastWanted = wanted;
        }
        return lastData;
    }

    std::optional<std::size_t> inFrame(std::optional<std::size_t> data) const {
        return data ? std::optional<std::size_t>(offsetInFrame(payload + *data)) : std::nullopt;
    }

    static void traceVisit(bool found, const char* kind, unsigned id) {
        logDebug(site, found ? "found: " : "skipped: ", kind, std::hex, id, std::dec);
    }

    const std::size_t payload; ///< where the transport payload begins
    const Bytes containers;
    const pdu::Chain* lastChain = nullptr;
    std::uint64_t lastWanted = 0;
    std::optional<std::size_t> lastData;
};

void traceSize(Bytes frame) {
    logDebug(decodeSite, "frame size = ", std::dec, frame.size());
    if (BaseSignal::debug > 2) {
        LogLine lines(LogLevel::Debug, std::cout, LogLine::Tag::None);
        hexdump(lines.out(), frame.data(), frame.size());
    }
}

bool decodeBy(EthernetTables& tables, std::uint8_t channel, Bytes frame, std::uint64_t time,
              std::vector<unsigned long>& ids) {
    ids.clear();
    miiFrameInfo_t info{};
    if (!analyze(decodeSite, frame, info)) {
        return false;
    }
    if (BaseSignal::debug) {
        traceSize(frame);
    }
    auto* const known = lookUp(decodeSite, info, channel, tables);
    if (known == nullptr) {
        return false;
    }
    EthernetDecoder::decode(tables.positive, *known, viewOf(frame, info, time), ids, info);
    return !ids.empty();
}

} // namespace

bool EthernetSignal::decode(unsigned char channel, const std::vector<unsigned char>& frame,
                            unsigned long time, std::vector<unsigned long>& ids, SignalStorage* storage) {
    return decodeBy(ethernet::tablesOf(storage), channel, frame, time, ids);
}

bool EthernetSignal::decodeMessage(const MIITraceMessage& msg, std::vector<unsigned long>& ids,
                                   SignalStorage* storage) {
    EthernetTables& tables = ethernet::tablesOf(storage);
    return tables.channelsInUse[msg.channel] && decodeBy(tables, msg.channel, msg.frame, msg.timestamp, ids);
}

bool EthernetSignal::decodeMessage(const EthernetTraceMessage& msg, std::vector<unsigned long>& ids,
                                   SignalStorage* storage) {
    EthernetTables& tables = ethernet::tablesOf(storage);
    return msg.kind == EthernetTraceMessage::Frame && tables.channelsInUse[msg.channel] &&
           decodeBy(tables, msg.channel, msg.frame, msg.timestamp, ids);
}

namespace {

/// What a raw trace record says of its frame.
struct RecordedFrame {
    std::uint8_t channel;
    Bytes bytes;
};

std::optional<RecordedFrame> recordedFrame(const unsigned char* record) {
    const auto frameBehind = [record](std::size_t length) {
        return Bytes(record + length + 2, bigEndian<2>(record + length));
    };
    switch (static_cast<RecordType>(bigEndian<2>(record + recordAt::type))) {
    case RecordType::Ethernet:
        if (record[recordAt::ethernetKind] != EthernetTraceMessage::Frame) {
            return std::nullopt;
        }
        return RecordedFrame{record[recordAt::ethernetChannel], frameBehind(recordAt::ethernetLength)};
    case RecordType::Mii:
        return RecordedFrame{record[recordAt::miiChannel], frameBehind(recordAt::miiLength)};
    default:
        return std::nullopt;
    }
}

} // namespace

bool EthernetSignal::signalsInUse(const unsigned char* record, const unsigned char* /*ignored*/,
                                  SignalStorage* storage) {
    // One byte for both types, on purpose: an Ethernet record has its channel there too.
    static_assert(recordAt::miiChannel == recordAt::ethernetChannelAgain);
    EthernetTables& tables = tablesOf(storage);
    if (filing::storageOrDefault(storage).ethernetSignals.empty() ||
        !tables.channelsInUse[record[recordAt::miiChannel]]) {
        return false;
    }
    const auto frame = recordedFrame(record);
    miiFrameInfo_t info{};
    return frame && analyze(querySite, frame->bytes, info) &&
           lookUp(querySite, info, frame->channel, tables) != nullptr;
}

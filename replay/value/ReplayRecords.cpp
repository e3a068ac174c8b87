// Raw records on their way into a replay: whether a definition wants one shows in a few of its bytes, see
// rktrace/TraceRecord.h.

#include "bus/EthernetSignal.h"
#include "bus/FlexRayKey.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINKey.h"
#include "bus/LINSignal.h"
#include "input/InputSignal.h"
#include "rkutil/ByteOrder.h"
#include "value/ReplayEngine.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

using Record = std::span<const std::uint8_t>;

template <std::size_t count = 4>
std::uint32_t numberAt(Record record, std::size_t offset) {
    return bigEndian<count>(record.data() + offset);
}

const std::uint8_t* endOf(Record record) {
    return record.data() + record.size();
}

template <class Holds>
bool anyOf(const std::vector<std::uint8_t>& sources, Holds&& holds) {
    return std::any_of(sources.begin(), sources.end(), holds);
}

} // namespace

/// How records of a type are treated.
struct ReplayEngine::RecordKind {
    RecordType type;
    SignalKind kind;
    std::size_t channelAt; ///< 0: it has no channel
    std::size_t minLength; ///< for `isWanted` and `identifier`
    bool (ReplayEngine::*isWanted)(Record record) const;
    std::uint32_t (*identifier)(Record record); ///< by which unknown ones are counted
    bool (ReplayEngine::*replay)(Record record, std::uint64_t timestamp);
};

const ReplayEngine::RecordKind ReplayEngine::recordKinds[] = {
    {RecordType::Can, SignalKind::Can, recordAt::canChannel, recordAt::canIdentifier + 4,
     &ReplayEngine::wantsCan,
     [](Record record) { return numberAt(record, recordAt::canIdentifier) & ~recordCanFdFlag; },
     &ReplayEngine::replayRecord<CANExtTraceMessage>},
    {RecordType::Lin, SignalKind::Lin, recordAt::linChannel, recordAt::linIdentifier + 1,
     &ReplayEngine::wantsLin, [](Record record) { return record[recordAt::linIdentifier] & 0x3FU; },
     &ReplayEngine::replayRecord<LINTraceMessage>},
    {RecordType::FlexRay, SignalKind::FlexRay, recordAt::flexRayChannel, recordAt::flexRayCycle + 1,
     &ReplayEngine::wantsFlexRay, [](Record record) { return numberAt<2>(record, recordAt::flexRaySlot); },
     &ReplayEngine::replayRecord<FlexRayExtTraceMessage>},
    {RecordType::Ethernet, SignalKind::Ethernet, recordAt::ethernetChannelAgain, recordAt::ethernetLength + 2,
     &ReplayEngine::wantsEthernet, [](Record) { return std::uint32_t{0}; },
     &ReplayEngine::replayRecord<EthernetTraceMessage>},
    {RecordType::Mii, SignalKind::Ethernet, recordAt::miiChannel, recordAt::miiLength + 2,
     &ReplayEngine::wantsEthernet, [](Record) { return std::uint32_t{0}; },
     &ReplayEngine::replayRecord<MIITraceMessage>},
    {RecordType::Gpio, SignalKind::Digital, 0, recordAt::inputMark + 2,
     &ReplayEngine::wantsInput<SignalKind::Digital>,
     [](Record record) { return numberAt<2>(record, recordAt::inputNumber); },
     &ReplayEngine::replayRecord<GpioTraceMessage>},
    {RecordType::Analog, SignalKind::Analog, 0, recordAt::inputMark + 2,
     &ReplayEngine::wantsInput<SignalKind::Analog>,
     [](Record record) { return numberAt<2>(record, recordAt::inputNumber); },
     &ReplayEngine::replayRecord<AnalogTraceMessage>},
    // The library asks for all keys under one name that none has, so its query would drop them all.
    {RecordType::Keyboard, SignalKind::Keyboard, 0, recordAt::keyCode + 4,
     &ReplayEngine::wantsAll<SignalKind::Keyboard>,
     [](Record record) { return numberAt(record, recordAt::keyCode); },
     &ReplayEngine::replayRecord<KeyboardMessage>},
    {RecordType::System, SignalKind::Status, 0, recordAt::systemCode + 4,
     &ReplayEngine::wantsAll<SignalKind::Status>,
     [](Record record) { return numberAt(record, recordAt::systemCode); },
     &ReplayEngine::replayRecord<SystemMessage>},
    {RecordType::SystemUsage, SignalKind::Status, 0, recordAt::systemCode + 4,
     &ReplayEngine::wantsAll<SignalKind::Status>,
     [](Record record) { return numberAt(record, recordAt::systemCode); },
     &ReplayEngine::replayRecord<SystemUsageMessage>},
    {RecordType::Gps, SignalKind::Gps, 0, recordHeaderLength, &ReplayEngine::wantsAll<SignalKind::Gps>,
     [](Record) { return std::uint32_t{0}; }, &ReplayEngine::replayRecord<GPSTraceMessage>},
};

bool ReplayEngine::receiveRecord(Record record, std::uint64_t timestamp) {
    ++counts.records;
    const RecordType type = recordType(record);
    const RecordKind* const kind = std::find_if(std::begin(recordKinds), std::end(recordKinds),
                                                [type](const RecordKind& each) { return each.type == type; });
    if (kind == std::end(recordKinds)) {
        pass(PassedMessage::Other, timestamp);
        return true;
    }
    if (record.size() < kind->minLength) {
        pass(PassedMessage::Truncated, timestamp);
        return false;
    }
    if ((this->*kind->isWanted)(record)) {
        return (this->*kind->replay)(record, timestamp);
    }
    ++counts.droppedRecords;
    sink.reached(timestamp);
    const auto channel = kind->channelAt != 0 ? std::optional(record[kind->channelAt]) : std::nullopt;
    counts.countUnknown({channel, kind->kind}, kind->identifier(record));
    return true;
}

bool ReplayEngine::wantsCan(Record record) const {
    const std::uint32_t flagged = numberAt(record, recordAt::canIdentifier);
    const bool extended = (flagged & recordExtendedFlag) != 0;
    const std::uint32_t id = flagged & ~(recordExtendedFlag | recordCanFdFlag);
    const std::uint8_t channel = record[recordAt::canChannel];
    const auto decoders = catalog.decodersOf(channel, id, extended);
    return !decoders[0].empty() || !decoders[1].empty() ||
           (extended && catalog.hasParameterGroups() &&
            (J1939Transport::isTransport(id) || catalog.definesGroup(channel, id)));
}

bool ReplayEngine::wantsLin(Record record) const {
    const SignalGroup& group = catalog.group(SignalKind::Lin);
    const auto& anyChannel = LINSignal::containerOf(&catalog.anyChannelStorage());
    return anyOf(group.sources,
                 [&](std::uint8_t source) {
                     return LINSignal::signalsInUse(record.data(), nullptr, source, &catalog.storage());
                 }) ||
           anyOf(group.anyChannelSources, [&](std::uint8_t source) {
               return anyChannel.contains(lin::frameKey(source, 0, record[recordAt::linIdentifier]));
           });
}

/// The library cannot be asked for frames whose segment nobody knows.
bool ReplayEngine::wantsFlexRay(Record record) const {
    const SignalGroup& group = catalog.group(SignalKind::FlexRay);
    const std::uint8_t segment = record[recordAt::flexRayKind];
    const auto slot = static_cast<std::uint16_t>(numberAt<2>(record, recordAt::flexRaySlot));
    const auto& anyChannel = FlexRaySignal::framesOf(&catalog.anyChannelStorage());
    return anyOf(group.sources,
                 [&](std::uint8_t source) {
                     return segment == unknownSegment ||
                            FlexRaySignal::signalsInUse(record.data(), endOf(record), source,
                                                        &catalog.storage());
                 }) ||
           anyOf(group.anyChannelSources, [&](std::uint8_t source) {
               return segment == unknownSegment ||
                      anyChannel.contains(
                          flexray::frameKey(source, 0, slot, segment, record[recordAt::flexRayCycle]));
           });
}

/// The library trusts the length that the record names. One that is cut short is left to its decoding. What
/// follows the frame in the record counts as padding.
bool ReplayEngine::wantsEthernet(Record record) const {
    const bool isMii = recordType(record) == RecordType::Mii;
    const std::size_t lengthAt = isMii ? recordAt::miiLength : recordAt::ethernetLength;
    const std::size_t length = numberAt<2>(record, lengthAt);
    if (length > record.size() - (lengthAt + 2)) {
        return true;
    }
    if (!ethernet) {
        return !catalog.group(SignalKind::Ethernet).anyChannelSources.empty() ||
               EthernetSignal::signalsInUse(record.data(), nullptr, &catalog.storage());
    }
    return (isMii || record[recordAt::ethernetKind] == EthernetTraceMessage::Frame) &&
           ethernet->wants(record[isMii ? recordAt::miiChannel : recordAt::ethernetChannel],
                           record.subspan(lengthAt + 2));
}

template <SignalKind kind>
bool ReplayEngine::wantsInput(Record record) const {
    const auto& sources = catalog.group(kind).sources;
    return std::any_of(sources.begin(), sources.end(), [&](std::uint8_t source) {
        return InputSignal::signalsInUse(record.data(), endOf(record), source, &catalog.storage());
    });
}

template <SignalKind kind>
bool ReplayEngine::wantsAll(Record /*record*/) const {
    return !catalog.group(kind).members.empty();
}

template <class Message>
bool ReplayEngine::replayRecord(Record record, std::uint64_t timestamp) {
    auto& message = std::get<Message>(messages);
    if (!decodeRecord(record, message)) {
        pass(PassedMessage::Truncated, timestamp);
        return false;
    }
    message.timestamp = timestamp;
    receive(message);
    return true;
}

} // namespace rksignal

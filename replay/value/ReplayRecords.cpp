// Raw records on their way into a replay: whether a definition wants one shows in a few of its bytes, see
// rktrace/TraceRecord.h.

#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/InputSignal.h"
#include "value/Replay.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

using Record = std::span<const std::uint8_t>;

constexpr std::size_t channelAt = 14; // of CAN and LIN records
constexpr std::size_t flexRayKindAt = 14;
constexpr std::size_t flexRayChannelAt = 15;
constexpr std::size_t ethernetChannelAt = 16;
constexpr std::size_t numberAt = 14; // of an input
constexpr std::size_t codeAt = 14;   // of a key or a system message
constexpr std::size_t canIdAt = 18;
constexpr std::size_t linIdAt = 26;
constexpr std::size_t slotAt = 19;
constexpr std::size_t ethernetLengthAt = 20;
constexpr std::size_t miiLengthAt = 24;
constexpr std::uint32_t extendedFlag = 0x80000000;
constexpr std::uint32_t canFdFlag = 0x40000000;

std::uint32_t word(Record record, std::size_t at) {
    return std::uint32_t{record[at]} << 24 | std::uint32_t{record[at + 1]} << 16 |
           std::uint32_t{record[at + 2]} << 8 | record[at + 3];
}

const std::uint8_t* endOf(Record record) {
    return record.data() + record.size();
}

} // namespace

/// How records of a type are treated.
struct Replay::RecordKind {
    RecordType type;
    SignalKind kind;
    std::size_t channelAt; ///< 0: it has no channel
    std::size_t minLength; ///< for `isWanted` and `identifier`
    bool (Replay::*isWanted)(Record record) const;
    std::uint32_t (*identifier)(Record record); ///< by which unknown ones are counted
    void (Replay::*replay)(Record record, std::uint64_t timestamp);
};

const Replay::RecordKind Replay::recordKinds[] = {
    {RecordType::Can, SignalKind::Can, channelAt, canIdAt + 4, &Replay::wantsCan,
     [](Record record) { return word(record, canIdAt) & ~canFdFlag; },
     &Replay::replayRecord<CANExtTraceMessage>},
    {RecordType::Lin, SignalKind::Lin, channelAt, linIdAt + 1, &Replay::wantsLin,
     [](Record record) { return record[linIdAt] & 0x3FU; }, &Replay::replayRecord<LINTraceMessage>},
    {RecordType::FlexRay, SignalKind::FlexRay, flexRayChannelAt, slotAt + 6, &Replay::wantsFlexRay,
     [](Record record) { return word(record, slotAt) >> 16; }, &Replay::replayRecord<FlexRayExtTraceMessage>},
    {RecordType::Ethernet, SignalKind::Ethernet, ethernetChannelAt, ethernetLengthAt + 2,
     &Replay::wantsEthernet, [](Record) { return std::uint32_t{0}; },
     &Replay::replayRecord<EthernetTraceMessage>},
    {RecordType::Mii, SignalKind::Ethernet, ethernetChannelAt, miiLengthAt + 2, &Replay::wantsEthernet,
     [](Record) { return std::uint32_t{0}; }, &Replay::replayRecord<MIITraceMessage>},
    {RecordType::Gpio, SignalKind::Digital, 0, numberAt + 4, &Replay::wantsInput<SignalKind::Digital>,
     [](Record record) { return word(record, numberAt) >> 16; }, &Replay::replayRecord<GpioTraceMessage>},
    {RecordType::Analog, SignalKind::Analog, 0, numberAt + 4, &Replay::wantsInput<SignalKind::Analog>,
     [](Record record) { return word(record, numberAt) >> 16; }, &Replay::replayRecord<AnalogTraceMessage>},
    // The library asks for all keys under one name that none has, so its query would drop them all.
    {RecordType::Keyboard, SignalKind::Keyboard, 0, codeAt + 4, &Replay::wantsAll<SignalKind::Keyboard>,
     [](Record record) { return word(record, codeAt); }, &Replay::replayRecord<KeyboardMessage>},
    {RecordType::System, SignalKind::Status, 0, codeAt + 4, &Replay::wantsAll<SignalKind::Status>,
     [](Record record) { return word(record, codeAt); }, &Replay::replayRecord<SystemMessage>},
    {RecordType::SystemUsage, SignalKind::Status, 0, codeAt + 4, &Replay::wantsAll<SignalKind::Status>,
     [](Record record) { return word(record, codeAt); }, &Replay::replayRecord<SystemUsageMessage>},
    {RecordType::Gps, SignalKind::Gps, 0, recordHeaderLength, &Replay::wantsAll<SignalKind::Gps>,
     [](Record) { return std::uint32_t{0}; }, &Replay::replayRecord<GPSTraceMessage>},
};

void Replay::receiveRecord(Record record, std::uint64_t timestamp) {
    ++counts.records;
    const RecordType type = recordType(record);
    const RecordKind* const kind = std::find_if(std::begin(recordKinds), std::end(recordKinds),
                                                [type](const RecordKind& each) { return each.type == type; });
    if (kind == std::end(recordKinds)) {
        pass(PassedMessage::Other, timestamp);
    } else if (record.size() < kind->minLength) {
        pass(PassedMessage::Truncated, timestamp);
    } else if ((this->*kind->isWanted)(record)) {
        (this->*kind->replay)(record, timestamp);
    } else {
        ++counts.droppedRecords;
        sink.reached(timestamp);
        const auto channel = kind->channelAt != 0 ? std::optional(record[kind->channelAt]) : std::nullopt;
        counts.countUnknown({channel, kind->kind}, kind->identifier(record));
    }
}

bool Replay::wantsCan(Record record) const {
    const std::uint32_t id = word(record, canIdAt);
    const auto decoders =
        catalog.decodersOf(record[channelAt], id & ~(extendedFlag | canFdFlag), (id & extendedFlag) != 0);
    return !decoders[0].empty() || !decoders[1].empty();
}

bool Replay::wantsLin(Record record) const {
    const auto& sources = catalog.group(SignalKind::Lin).sources;
    return std::any_of(sources.begin(), sources.end(), [&](std::uint8_t source) {
        return LINSignal::signalsInUse(record.data(), nullptr, source, &catalog.storage());
    });
}

/// The library cannot be asked for frames whose segment nobody knows.
bool Replay::wantsFlexRay(Record record) const {
    const auto& sources = catalog.group(SignalKind::FlexRay).sources;
    return std::any_of(sources.begin(), sources.end(), [&](std::uint8_t source) {
        return record[flexRayKindAt] == unknownSegment ||
               FlexRaySignal::signalsInUse(record.data(), endOf(record), source, &catalog.storage());
    });
}

/// The library trusts the length that the record names. One that is cut short is left to its decoding.
bool Replay::wantsEthernet(Record record) const {
    const std::size_t lengthAt = recordType(record) == RecordType::Mii ? miiLengthAt : ethernetLengthAt;
    const std::size_t length = record[lengthAt] * std::size_t{256} + record[lengthAt + 1];
    return length > record.size() - (lengthAt + 2) ||
           EthernetSignal::signalsInUse(record.data(), nullptr, &catalog.storage());
}

template <SignalKind kind>
bool Replay::wantsInput(Record record) const {
    const auto& sources = catalog.group(kind).sources;
    return std::any_of(sources.begin(), sources.end(), [&](std::uint8_t source) {
        return InputSignal::signalsInUse(record.data(), endOf(record), source, &catalog.storage());
    });
}

template <SignalKind kind>
bool Replay::wantsAll(Record /*record*/) const {
    return !catalog.group(kind).members.empty();
}

template <class Message>
void Replay::replayRecord(Record record, std::uint64_t timestamp) {
    auto& message = std::get<Message>(messages);
    if (!decodeRecord(record, message)) {
        pass(PassedMessage::Truncated, timestamp);
        return;
    }
    message.timestamp = timestamp;
    receive(message);
}

} // namespace rksignal

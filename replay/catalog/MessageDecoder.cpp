#include "catalog/MessageDecoder.h"

#include "catalog/PrivateWrite.h"
#include "definition/MultiplexTree.h"
#include "signal/PduChain.h"
#include "signal/PlainPaths.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace rksignal {
namespace {

constexpr std::size_t wordBytes = 8;

} // namespace

const char* receptionText(Reception reception) {
    switch (reception) {
    case Reception::NeverSeen:
        return "never seen";
    case Reception::Unselected:
        return "branch inactive";
    case Reception::TooShort:
        return "frame too short";
    case Reception::Withdrawn:
        return "no fix";
    case Reception::Foreign:
    case Reception::Written:
        break;
    }
    return "";
}

MessageDecoder::MessageDecoder(const MessageDefinition& message, const std::vector<CANSignal*>& signals,
                               std::size_t number)
    : definition(message), messageNumber(number) {
    std::vector<bool> usable;
    std::transform(signals.begin(), signals.end(), std::back_inserter(usable),
                   [](const CANSignal* signal) { return signal != nullptr; });
    for (const MultiplexNode& node : multiplexTree(definition, usable)) {
        addField(definition.signals[node.signal], *signals[node.signal]);
        fields.back().multiplexer = node.parent ? static_cast<std::uint32_t>(*node.parent) : none;
        fields.back().branchEnd = static_cast<std::uint32_t>(node.branchEnd);
    }
    if (!fields.empty() && fields.front().signal->shmem) {
        writtenHere.resize(fields.size());
    }
    findPlain();
}

/// Whether all frames that are long enough write all fields, of which nothing more is asked: they are
/// private, no multiplexer selects among them, and there are no values to count.
void MessageDecoder::findPlain() {
    const auto isSelected = [](const Field& field) { return field.multiplexer != none; };
    if (fastPathsOff() || !reserved.empty() || !writtenHere.empty() ||
        std::any_of(fields.begin(), fields.end(), isSelected)) {
        return;
    }
    plainIds = signals();
    for (const Field& field : fields) {
        plainEnd = std::max<std::size_t>(plainEnd, field.end);
        plainFields[field.bigEndian ? 1 : 0][field.isSigned ? 1 : 0].push_back(
            {field.slot, &field.signal->modified, field.word, field.cut});
    }
}

/// The 8 bytes that hold the field end where it does, or are the first 8: bytes that were not received are
/// never needed, whatever the length of the message, but for those of a message of less than 8.
void MessageDecoder::addField(const SignalDefinition& signal, CANSignal& built) {
    const canSignalDef_t& record = signal.can();
    const auto bytes = bitfield::byteRange(record.startbit, record.bits, record.endian);
    const std::size_t end = std::size_t{bytes.startByte} + bytes.numBytes;
    const std::size_t word = std::max(end, wordBytes) - wordBytes;
    const int startbit = record.startbit - static_cast<int>(8 * word);
    const int lsb = bitfield::leastSignificantBit(startbit, record.bits, record.endian);
    fields.push_back({&built, built.slot, none, 0, static_cast<std::uint16_t>(word),
                      static_cast<std::uint16_t>(end),
                      bitfield::wordField(lsb, record.bits, record.endian).value_or(bitfield::WordField{}),
                      record.endian, record.type == signalValue_t::Signed,
                      signal.multiplexing ? signal.multiplexing->ranges : std::vector<ValueRange>()});
    if (definition.isParameterGroup) {
        const bool isUnsigned = record.type == signalValue_t::Unsigned;
        reserved.push_back(isUnsigned ? j1939::ReservedValues::ofWidth(record.bits)
                                      : j1939::ReservedValues());
    }
}

bool MessageDecoder::decode(const CANExtTraceMessage& received, std::vector<unsigned long>& ids) {
    ids.clear();
    const std::size_t length = std::min<std::size_t>(received.length, longestFrame);
    if (definition.pduId) {
        return received.isFd() && decodePdu(received, length, ids);
    }
    decodeMessage(received.payload.data(),
                  {{received.payload.data(), length}, received.timestamp, received.channel}, ids);
    return true;
}

void MessageDecoder::decode(const Payload& received, std::vector<unsigned long>& ids) {
    ids.clear();
    if (received.bytes.size() >= wordBytes) {
        return decodeMessage(received.bytes.data(), received, ids);
    }
    std::array<std::uint8_t, wordBytes> padded{};
    std::copy(received.bytes.begin(), received.bytes.end(), padded.begin());
    decodeMessage(padded.data(), received, ids);
}

/// REQUIRES: `bytes` are those of `received`, and at least 8 can be read.
void MessageDecoder::decodeMessage(const std::uint8_t* bytes, const Payload& received,
                                   std::vector<unsigned long>& ids) {
    ++counts.frames;
    counts.channels.set(received.channel);
    const std::uint64_t untouchedBefore = counts.untouched;
    const std::size_t length = received.bytes.size();
    if (reserved.empty()) {
        decodeFields<false>(bytes, length, received.timestamp, ids);
    } else {
        decodeFields<true>(bytes, length, received.timestamp, ids);
    }
    if (length < definition.length || counts.untouched != untouchedBefore) {
        ++counts.shortFrames;
    }
}

/// The bytes behind the PDU's header, of which there may be fewer than a field is cut from.
bool MessageDecoder::decodePdu(const CANExtTraceMessage& received, std::size_t length,
                               std::vector<unsigned long>& ids) {
    const auto data = definition.pduHeader == PduHeader::Long
                          ? pdu::find<pdu::canFdLong>(received.payload, length, *definition.pduId)
                          : pdu::find<pdu::canFd>(received.payload, length, *definition.pduId);
    if (!data || *data > length) {
        return false;
    }
    ++counts.frames;
    std::array<std::uint8_t, longestFrame> bytes{};
    std::copy(received.payload.begin() + static_cast<std::ptrdiff_t>(*data), received.payload.end(),
              bytes.begin());
    decodeFields<false>(bytes.data(), length - *data, received.timestamp, ids);
    return !ids.empty();
}

inline std::uint64_t MessageDecoder::cut(const Field& field, const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes + field.word, sizeof word);
    return field.cut(field.bigEndian ? bitfield::swapped(word) : word, field.isSigned);
}

/// REQUIRES: `length` bytes, and at least 8, can be read.
template <bool countsReserved>
void MessageDecoder::decodeFields(const std::uint8_t* bytes, std::size_t length, std::uint64_t timestamp,
                                  std::vector<unsigned long>& ids) {
    if (plainEnd <= length && !plainIds.empty()) {
        writePlain(bytes, length, timestamp);
        ids = plainIds;
        return;
    }
    lastLength = length;
    for (std::size_t i = 0; i < fields.size();) {
        const Field& field = fields[i];
        if (field.multiplexer != none && !isSelected(field)) {
            i = field.branchEnd;
        } else if (field.end > length) {
            ++counts.untouched;
            i = field.branchEnd;
        } else {
            const std::uint64_t raw = cut(field, bytes);
            write(i, raw, timestamp);
            ids.push_back(field.signal->id);
            if constexpr (countsReserved) {
                countReserved(i, raw);
            }
            ++i;
        }
    }
}

inline void MessageDecoder::write(std::size_t field, std::uint64_t raw, std::uint64_t timestamp) {
    CANSignal& signal = *fields[field].signal;
    if (!writtenHere.empty()) [[unlikely]] {
        signal.writeRaw(raw, timestamp);
        writtenHere[field] = raw;
        return;
    }
    writePrivate(*fields[field].slot, signal.modified, raw, timestamp);
}

void MessageDecoder::writePlain(const std::uint8_t* bytes, std::size_t length, std::uint64_t timestamp) {
    lastLength = length;
    writePlain<false, false>(bytes, timestamp);
    writePlain<false, true>(bytes, timestamp);
    writePlain<true, false>(bytes, timestamp);
    writePlain<true, true>(bytes, timestamp);
}

template <bool bigEndian, bool isSigned>
void MessageDecoder::writePlain(const std::uint8_t* bytes, std::uint64_t timestamp) const {
    for (const PlainField& field : plainFields[bigEndian ? 1 : 0][isSigned ? 1 : 0]) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + field.word, sizeof word);
        writePrivate(*field.slot, *field.modified,
                     field.cut(bigEndian ? bitfield::swapped(word) : word, isSigned), timestamp);
    }
}

std::uint64_t MessageDecoder::lastValue(std::size_t field) const {
    return writtenHere.empty() ? fields[field].slot->raw : writtenHere[field];
}

void MessageDecoder::countReserved(std::size_t field, std::uint64_t raw) {
    if (raw >= reserved[field].firstNotAvailable) {
        ++counts.notAvailable;
    } else if (raw >= reserved[field].firstError) {
        ++counts.errors;
    }
}

/// REQUIRES: the multiplexer of the field has just been written.
bool MessageDecoder::isSelected(const Field& field) const {
    const std::uint64_t value =
        lastValue(field.multiplexer) & fields[field.multiplexer].signal->d_maksBits; // without its sign
    return std::any_of(field.ranges.begin(), field.ranges.end(),
                       [value](const auto& range) { return range.first <= value && value <= range.second; });
}

void MessageDecoder::addStatistics(const MessageStatistics& others) {
    counts.frames += others.frames;
    counts.shortFrames += others.shortFrames;
    counts.untouched += others.untouched;
    counts.notAvailable += others.notAvailable;
    counts.errors += others.errors;
    counts.channels |= others.channels;
}

std::vector<unsigned long> MessageDecoder::signals() const {
    std::vector<unsigned long> ids;
    for (const Field& field : fields) {
        ids.push_back(field.signal->id);
    }
    return ids;
}

Reception MessageDecoder::receptionOf(const BaseSignal& signal) const {
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&signal](const Field& each) { return each.signal == &signal; });
    if (field == fields.end()) {
        return Reception::Foreign;
    }
    return counts.frames == 0 ? Reception::NeverSeen : receptionOf(*field);
}

/// The outermost multiplexer has the last word: those below it may be left from an earlier frame.
Reception MessageDecoder::receptionOf(const Field& field) const {
    if (field.multiplexer != none) {
        const Field& multiplexer = fields[field.multiplexer];
        const Reception above = receptionOf(multiplexer);
        if (above != Reception::Written) {
            return above;
        }
        if (multiplexer.slot->valid != 0 && !isSelected(field)) {
            return Reception::Unselected;
        }
    }
    return field.end > lastLength ? Reception::TooShort : Reception::Written;
}

} // namespace rksignal

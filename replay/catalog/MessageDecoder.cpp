#include "catalog/MessageDecoder.h"

#include "bus/CANKey.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

/// The term of a raw value must not run into the bits of the trace source, which start 16 bits further on.
constexpr unsigned maxMultiplexerBits = 15;

/// A multiplexed signal is filed once for each value of its ranges.
constexpr std::uint64_t maxFilings = 4096;

std::uint32_t frameFormatOf(const DbcMessage& message) {
    if (message.canFd) {
        return message.extended ? CANExtTraceMessage::FdExtended : CANExtTraceMessage::FdStandard;
    }
    return message.extended ? CANExtTraceMessage::Extended : CANExtTraceMessage::Standard;
}

} // namespace

MessageDecoder::MessageDecoder(DbcMessage message, std::optional<std::uint8_t> channel,
                               const std::vector<CANSignal*>& signals, bool alone)
    : definition(std::move(message)), boundTo(channel) {
    std::vector<bool> usable;
    std::transform(signals.begin(), signals.end(), std::back_inserter(usable),
                   [](const CANSignal* signal) { return signal != nullptr; });
    for (const MultiplexNode& node : multiplexTree(definition, usable)) {
        addField(node, *signals[node.signal]);
    }
    viaLibrary = alone && !fields.empty() && servedByLibrary();
    if (viaLibrary) {
        placeMultiplexed();
    } else {
        unfile(signals);
    }
}

void MessageDecoder::addField(const MultiplexNode& node, CANSignal& signal) {
    canSignalDef_t range = signal.definition;
    CANSignal::checkSignalDefinition(range);
    const auto end = static_cast<std::uint8_t>(range.startByte + range.numBytes);
    const auto& multiplexing = definition.signals[node.signal].multiplexing;
    // The codec of a classic signal counts from the first byte of the frame.
    fields.push_back({&signal, definition.canFd ? range.startByte : std::uint8_t{0}, end, signal.d_maksBits,
                      node.parent, node.branchEnd, multiplexing ? multiplexing->ranges : Ranges()});
    neededBytes = std::max<std::size_t>(neededBytes, end);
}

/// Whether the library's two look-ups do what the multiplexing of the message asks for.
bool MessageDecoder::servedByLibrary() const {
    const Field* multiplexer = nullptr;
    std::uint64_t filings = 0;
    for (const Field& field : fields) {
        if (field.signal->def.multiplexer != 0 && std::exchange(multiplexer, &field) != nullptr) {
            return false;
        }
        for (const auto& [first, last] : field.ranges) {
            filings += last >> maxMultiplexerBits == 0 ? last - first + 1 : maxFilings + 1;
        }
    }
    if (multiplexer == nullptr) {
        return true;
    }
    const baseSignalDef_t& selector = multiplexer->signal->def;
    return !definition.canFd && selector.type == signalValue_t::Unsigned &&
           selector.bits <= maxMultiplexerBits && filings <= maxFilings;
}

std::uint64_t MessageDecoder::frameKey() const {
    return can::frameKey(boundTo ? boundSource : unboundSource, boundTo.value_or(0), definition.id,
                         definition.extended, definition.canFd);
}

/// Moves multiplexed signals from the key of the frame, where every frame would write them, to the keys of
/// the multiplexer's values.
void MessageDecoder::placeMultiplexed() const {
    for (const Field& field : fields) {
        if (!field.multiplexer) {
            continue;
        }
        CANSignal::canContainer.unfile(frameKey(), field.signal);
        for (const auto& [first, last] : field.ranges) {
            for (std::uint64_t value = first; value <= last; ++value) {
                auto& selected = CANSignal::canContainer[frameKey() + can::multiplexerTerm(value)];
                if (selected.empty() || selected.back() != field.signal) { // ranges may overlap
                    selected.push_back(field.signal);
                }
            }
        }
    }
}

void MessageDecoder::unfile(const std::vector<CANSignal*>& signals) const {
    for (const CANSignal* const signal : signals) {
        if (signal != nullptr) {
            CANSignal::canContainer.unfile(frameKey(), signal);
        }
    }
}

void MessageDecoder::decode(const CANExtTraceMessage& received, std::vector<unsigned long>& ids) {
    ++counts.frames;
    counts.channels.set(received.channel);
    lastLength = received.length;
    const std::uint64_t untouchedBefore = counts.untouched;
    if (viaLibrary && received.length >= neededBytes) {
        decodeByLibrary(received, ids);
    } else {
        decodeFields(received, ids);
    }
    if (received.length < definition.length || counts.untouched != untouchedBefore) {
        ++counts.shortFrames;
    }
}

/// Presents the frame in the form that the definition has in the library's table.
void MessageDecoder::decodeByLibrary(const CANExtTraceMessage& received,
                                     std::vector<unsigned long>& ids) const {
    CANExtTraceMessage frame = received;
    frame.frameFormat = frameFormatOf(definition);
    frame.channel = boundTo.value_or(0);
    CANSignal::decodeMessage(frame, ids, boundTo ? boundSource : unboundSource,
                             fields.front().signal->storage);
}

void MessageDecoder::decodeFields(const CANExtTraceMessage& received, std::vector<unsigned long>& ids) {
    ids.clear();
    for (std::size_t i = 0; i < fields.size();) {
        const Field& field = fields[i];
        if (!isSelected(field)) {
            i = field.branchEnd;
        } else if (field.end > received.length) {
            ++counts.untouched;
            i = field.branchEnd;
        } else {
            field.signal->write(received.payload.data() + field.start,
                                static_cast<unsigned long>(field.end - field.start), received.timestamp);
            ids.push_back(field.signal->id);
            ++i;
        }
    }
}

/// REQUIRES: the multiplexer of the field has just been written.
bool MessageDecoder::isSelected(const Field& field) const {
    if (!field.multiplexer) {
        return true;
    }
    const Field& multiplexer = fields[*field.multiplexer];
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    multiplexer.signal->read(raw, timestamp);
    const std::uint64_t value = raw & multiplexer.valueMask; // without sign extension
    return std::any_of(field.ranges.begin(), field.ranges.end(),
                       [value](const auto& range) { return range.first <= value && value <= range.second; });
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
    if (field.multiplexer) {
        const Field& multiplexer = fields[*field.multiplexer];
        const Reception above = receptionOf(multiplexer);
        if (above != Reception::Written) {
            return above;
        }
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (multiplexer.signal->read(raw, timestamp) && !isSelected(field)) {
            return Reception::Unselected;
        }
    }
    return field.end > lastLength ? Reception::TooShort : Reception::Written;
}

} // namespace rksignal

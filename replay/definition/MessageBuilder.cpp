#include "definition/MessageBuilder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint32_t lastIdOfLin = 63;
constexpr std::uint16_t longestOfLin = 8;
constexpr std::uint64_t mostSignalBits = 64;

/// Bytes of a message up to the end of a signal. REQUIRES: the layout is one that fits into a message.
std::uint64_t endByte(const FieldLayout& layout) {
    const std::uint64_t first = layout.bigEndian ? fromSawtooth(layout.startbit) : layout.startbit;
    return (first + layout.bits + 7) / 8;
}

bool isFloating(signalValue_t type) {
    return type == signalValue_t::Float || type == signalValue_t::Double;
}

std::pair<double, double> rawRange(const FieldLayout& layout) {
    const int bits = static_cast<int>(layout.bits);
    switch (layout.type) {
    case signalValue_t::Unsigned:
        return {0, std::ldexp(1.0, bits) - 1};
    case signalValue_t::Signed:
        return {-std::ldexp(1.0, bits - 1), std::ldexp(1.0, bits - 1) - 1};
    default:
        return {-std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};
    }
}

void completeRecord(SignalDefinition& signal, const MessageDefinition& message) {
    baseSignalDef_t& common = signal.common();
    common.instance = message.name + "." + common.signal;
    common.channel = message.channel.value_or(0);
    if (auto* const lin = std::get_if<linSignalDef_t>(&signal.record)) {
        lin->msgId = message.id;
        return;
    }
    canSignalDef_t& can = signal.can();
    can.msgId = message.id;
    can.extended = message.extended;
    can.canFD = message.canFd;
    can.message = message.name;
    can.sender = message.sender;
    if (signal.multiplexing) {
        can.multiplexed = true;
        can.mux = firstSelector(signal.multiplexing->ranges);
    }
}

} // namespace

std::uint64_t rawWord(signalValue_t type, std::uint64_t value) {
    const auto number = static_cast<std::int64_t>(value);
    if (type == signalValue_t::Float) {
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    }
    return type == signalValue_t::Double ? std::bit_cast<std::uint64_t>(static_cast<double>(number)) : value;
}

std::optional<std::uint64_t> rawWordOf(const baseSignalDef_t& record, double physical) {
    if (record.scale == 0) {
        return std::nullopt;
    }
    const double raw = (physical - record.offset) / record.scale;
    if (record.type == signalValue_t::Double) {
        return std::bit_cast<std::uint64_t>(raw);
    }
    if (record.type == signalValue_t::Float) {
        return std::bit_cast<std::uint32_t>(static_cast<float>(raw));
    }
    const bool isSigned = record.type == signalValue_t::Signed;
    const double limit = std::ldexp(1.0, record.bits - (isSigned ? 1 : 0));
    const double rounded = std::round(raw);
    if (!(rounded < limit && rounded >= (isSigned ? -limit : 0)) ||
        std::abs(rounded * record.scale + record.offset - physical) > std::abs(physical) * 1e-9) {
        return std::nullopt;
    }
    return isSigned ? static_cast<std::uint64_t>(static_cast<std::int64_t>(rounded))
                    : static_cast<std::uint64_t>(rounded);
}

MessageBuilder::MessageBuilder(MessageDefinition message, unsigned line, DefinitionNotes& notes)
    : definition(std::move(message)), notes(notes) {
    definition.place = notes.placeOf(line);
    checkFrame(line);
}

void MessageBuilder::checkFrame(unsigned line) {
    const bool isLin = definition.kind == SignalKind::Lin;
    const std::uint32_t greatest = isLin                 ? lastIdOfLin
                                   : definition.extended ? greatestExtendedId
                                                         : greatestStandardId;
    const std::uint16_t longest = isLin ? longestOfLin : longestFrame;
    std::string reason;
    if (definition.id > greatest) {
        reason =
            "its identifier " + std::to_string(definition.id) + " is more than " + std::to_string(greatest);
    } else if (definition.length > longest) {
        reason = "length " + std::to_string(definition.length) + " is more than " + std::to_string(longest) +
                 " bytes";
    }
    if (!reason.empty()) {
        usable = false;
        notes.dropped(line, "message " + definition.name + " dropped: " + reason);
    }
}

/// The limits are those of the records, of LIN those of the frame.
const char* MessageBuilder::whyDropped(const FieldLayout& layout) const {
    const bool isLin = definition.kind == SignalKind::Lin;
    const std::uint64_t bytes = isLin ? longestOfLin : longestFrame;
    if (layout.bits == 0) {
        return "its width is 0";
    }
    if (layout.bits > mostSignalBits) {
        return "it is wider than 64 bits";
    }
    if (layout.startbit >= bytes * 8 || endByte(layout) > bytes) {
        return isLin ? "it lies beyond 8 bytes" : "it lies beyond 64 bytes";
    }
    if ((layout.type == signalValue_t::Float && layout.bits != 32) ||
        (layout.type == signalValue_t::Double && layout.bits != 64)) {
        return "floating-point numbers have 32 or 64 bits";
    }
    return nullptr;
}

std::optional<std::size_t> MessageBuilder::add(SignalDefinition signal, const FieldLayout& layout,
                                               unsigned line) {
    baseSignalDef_t& record = signal.common();
    const std::string subject = "signal " + record.signal + " of message " + definition.name + " ";
    if (const char* const reason = whyDropped(layout)) {
        notes.dropped(line, subject + "dropped: " + reason);
        return std::nullopt;
    }
    const std::string wanted = std::exchange(
        record.signal,
        names.find(record.signal, [this](const std::string& name) { return taken.contains(name); }));
    taken.insert(record.signal);
    if (record.signal != wanted) {
        notes.guess(line, subject + "is defined again; it is called " + record.signal);
    }
    if (definition.length != 0 && endByte(layout) > definition.length) {
        notes.guess(line, subject + "reaches to byte " + std::to_string(endByte(layout)) +
                              " of a message of " + std::to_string(definition.length) + " bytes; kept");
    }
    if (record.scale == 0) {
        notes.guess(line, subject + "has scale 0; kept");
    }
    record.startbit = static_cast<std::uint16_t>(layout.startbit);
    record.bits = static_cast<std::uint8_t>(layout.bits);
    record.endian = layout.bigEndian;
    record.type = layout.type;
    if (isFloating(layout.type)) {
        std::map<std::uint64_t, std::string> texts;
        for (auto& [value, text] : record.valueDescriptions) {
            texts.emplace(rawWord(layout.type, value), std::move(text));
        }
        record.valueDescriptions = std::move(texts);
    }
    takeRange(layout, signal);
    signal.place = notes.placeOf(line);
    definition.signals.push_back(std::move(signal));
    return definition.signals.size() - 1;
}

void MessageBuilder::takeRange(const FieldLayout& layout, SignalDefinition& signal) {
    if (!layout.minimum && !layout.maximum) {
        return;
    }
    const auto [least, greatest] = rawRange(layout);
    const baseSignalDef_t& record = signal.common();
    const double first = least * record.scale + record.offset;
    const double last = greatest * record.scale + record.offset;
    signal.minimum = layout.minimum.value_or(std::min(first, last));
    signal.maximum = layout.maximum.value_or(std::max(first, last));
}

MessageDefinition MessageBuilder::take() {
    for (SignalDefinition& signal : definition.signals) {
        completeRecord(signal, definition);
        if (signal.multiplexing) {
            definition.signals[*signal.multiplexing->multiplexer].common().multiplexer = 1;
        }
    }
    return std::move(definition);
}

} // namespace rksignal

#include "explain/FrameField.h"

#include "rktrace/MIITraceMessage.h"
#include "signal/PduChain.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t byteBits = 8;

/// In a CAN frame; the data of a PDU begins behind its header.
std::optional<std::size_t> canOffset(const SeenFrame& frame, const MessageDefinition& message) {
    const bool isWhole =
        !message.isParameterGroup || j1939::groupOf(frame.identifier) == j1939::groupOf(message.id);
    if (!isWhole) {
        return std::nullopt;
    }
    if (!message.pduId) {
        return 0;
    }
    const std::size_t size = frame.bytes.size();
    return message.pduHeader == PduHeader::Long ? pdu::find<pdu::canFdLong>(frame.bytes, size, *message.pduId)
                                                : pdu::find<pdu::canFd>(frame.bytes, size, *message.pduId);
}

/// The position that the cycle of the frame has.
const flexRayPosition_t* positionIn(const SeenFrame& frame, const std::vector<flexRayPosition_t>& positions) {
    const auto isHere = [&frame](const flexRayPosition_t& position) {
        const int repetition = std::max<int>(position.repetition, 1);
        return frame.cycle >= position.baseCycle && (frame.cycle - position.baseCycle) % repetition == 0;
    };
    const auto position = std::find_if(positions.begin(), positions.end(), isHere);
    return position != positions.end() && !position->pduId ? &*position : nullptr;
}

/// Of a signal that lies in the transport payload itself.
std::optional<std::size_t> ethernetOffset(const SeenFrame& frame,
                                          const std::vector<ethernetPosition_t>& positions) {
    miiFrameInfo_t info;
    const bool isPlain =
        positions.size() == 1 && positions.front().ethSignalType == ethSignalPosType_t::DEFAULT;
    if (!isPlain || !MIITraceMessage::analyzeFrame(frame.bytes.data(), frame.bytes.size(), info)) {
        return std::nullopt;
    }
    return info.payloadOffset;
}

std::optional<std::size_t> payloadOffset(const SeenFrame& frame, const MessageDefinition& message,
                                         const SignalDefinition& signal, BitRange& range) {
    switch (message.kind) {
    case SignalKind::Can:
        return canOffset(frame, message);
    case SignalKind::Lin:
        return 0;
    case SignalKind::FlexRay: {
        const auto* const position = positionIn(frame, std::get<flexRaySignalDef_t>(signal.record).positions);
        range.startBit = position != nullptr ? position->startBit : range.startBit;
        return position != nullptr ? std::optional(std::size_t{0}) : std::nullopt;
    }
    case SignalKind::Ethernet:
        return ethernetOffset(frame, std::get<ethernetSignalDef_t>(signal.record).positions);
    default:
        return std::nullopt;
    }
}

bool bitOf(std::span<const std::uint8_t> bytes, std::size_t bit) {
    return (bytes[bit / byteBits] >> (bit % byteBits) & 1) != 0;
}

} // namespace

std::string FrameField::digits() const {
    std::string text;
    const std::vector<std::size_t> bits = range.numbers();
    for (std::size_t i = bits.size(); i-- > 0;) {
        text += bitOf(payload, bits[i]) ? '1' : '0';
        text += i % 4 == 0 && i > 0 ? " " : "";
    }
    return text;
}

std::optional<FrameField> fieldIn(const SeenFrame& frame, const MessageDefinition& message,
                                  const SignalDefinition& signal) {
    BitRange range = BitRange::of(signal);
    const auto offset = payloadOffset(frame, message, signal, range);
    if (!offset || *offset > frame.bytes.size()) {
        return std::nullopt;
    }
    const std::span<const std::uint8_t> payload = std::span(frame.bytes).subspan(*offset);
    const std::vector<std::size_t> bits = range.numbers();
    const bool isHeld = std::all_of(bits.begin(), bits.end(),
                                    [&payload](std::size_t bit) { return bit / byteBits < payload.size(); });
    return isHeld && !bits.empty() ? std::optional(FrameField{payload, *offset, range}) : std::nullopt;
}

std::string fieldTable(const FrameField& field, const TerminalStyle& style) {
    constexpr std::size_t maxBytes = 64;
    BitTable table(field.payload.size(), style);
    const std::vector<std::size_t> bits = field.range.numbers();
    const auto [least, most] = std::minmax_element(bits.begin(), bits.end());
    const bool isLong = field.payload.size() > maxBytes;
    const std::size_t first = isLong ? *least / byteBits * byteBits : 0;
    const std::size_t end = isLong ? (*most / byteBits + 1) * byteBits : field.payload.size() * byteBits;
    for (std::size_t bit = first; bit < end; ++bit) {
        const bool isOfField = std::find(bits.begin(), bits.end(), bit) != bits.end();
        table.add(bit, bitOf(field.payload, bit) ? "1" : "0", isOfField ? 2 : 1);
        if (isOfField) {
            table.mark(bit);
        }
    }
    return table.text();
}

std::string bytesText(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t maxBytes = 64;
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), maxBytes))) {
        text += text.empty() ? "" : " ";
        text += {digits[byte >> 4], digits[byte & 0xF]};
    }
    return text + (bytes.size() > maxBytes ? " ..." : "");
}

} // namespace rksignal

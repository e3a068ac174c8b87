// Which definitions of parameter groups (SAE J1939) decode a frame, and the instances for further senders.
//
// A definition for any sender is filed under its parameter group alone. With the first frame of a sender its
// decoder, or another one with instances of their own, is filed under group and source address, where
// definitions for this one sender stand anyway. So all further frames are found with one look-up.

#include "catalog/Catalog.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <array>
#include <utility>

namespace rksignal {
namespace {

constexpr std::string_view sourceMark = "@SA";

/// `@SA21`
std::string sourceSuffix(std::uint8_t source) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    return std::string(sourceMark) + digits[source >> 4] + digits[source & 0xF];
}

/// The address behind a mark.
std::optional<std::uint8_t> sourceIn(std::string_view text) {
    constexpr std::size_t digits = 2;
    return text.size() < digits ? std::nullopt : parseNumber<std::uint8_t>(text.substr(0, digits), 16);
}

} // namespace

bool Catalog::definesGroup(std::uint8_t channel, std::uint32_t id) const {
    const auto defines = [id](const DecoderTable& table, std::uint8_t tableChannel) {
        return !find(table, groupKey(tableChannel, id)).empty() ||
               !find(table, anySourceKey(tableChannel, id)).empty();
    };
    return defines(bound, channel) || defines(unbound, 0);
}

std::span<MessageDecoder* const> Catalog::groupDecoders(DecoderTable& table, std::uint8_t channel,
                                                        std::uint32_t id) {
    const auto own = find(table, groupKey(channel, id));
    return own.empty() ? addSource(table, channel, id) : own;
}

/// The first sender has the decoders of the definitions, each other one those that are made for it. Frames of
/// further senders than there may be are none of the definitions.
std::span<MessageDecoder* const> Catalog::addSource(DecoderTable& table, std::uint8_t channel,
                                                    std::uint32_t id) {
    const std::uint64_t key = groupKey(channel, id);
    const std::uint8_t source = j1939::sourceOf(id);
    for (MessageDecoder* const decoder : find(table, anySourceKey(channel, id))) {
        if (!decoder->source()) {
            decoder->setSource(source, /*isFurtherSource=*/false);
            table.file(key, decoder);
        } else if (MessageDecoder* const made = decoderFor(*decoder, source)) {
            table.file(key, made);
        }
    }
    return find(table, key);
}

/// A decoder of the same message with signals of its own; null if there are too many of them.
MessageDecoder* Catalog::decoderFor(const MessageDecoder& decoder, std::uint8_t source) {
    const MessageDefinition& message = decoder.message();
    const std::vector<unsigned long> ids = decoder.signals();
    if (ids.size() > maxSourceSignals - sourceSignals) {
        return nullptr;
    }
    sourceSignals += ids.size();
    std::vector<std::size_t> defined;
    std::transform(ids.begin(), ids.end(), std::back_inserter(defined),
                   [this](unsigned long id) { return indexOf(id); });
    std::sort(defined.begin(), defined.end());
    std::vector<CANSignal*> signals(message.signals.size());
    for (const std::size_t index : defined) {
        const std::size_t signal = origins[index].signal;
        canSignalDef_t record = message.signals[signal].can();
        record.channel = message.channel.value_or(0);
        record.instance = names.find(allSignals[index]->def.instance + sourceSuffix(source),
                                     [this](const std::string& name) { return isTaken(name); });
        signals[signal] = static_cast<CANSignal*>(
            adopt(std::make_unique<CANSignal>(record, isShared, &registry), {&message, signal, index}));
    }
    const auto& made =
        frameDecoders.emplace_back(std::make_unique<MessageDecoder>(message, signals, decoder.number()));
    made->setSource(source, /*isFurtherSource=*/true);
    return made.get();
}

/// Names reach back from a mark to what separates names in expressions.
void Catalog::addSources(std::string_view text) {
    constexpr std::string_view separators = " \t\r\n!&()*+,-/:<=>|";
    for (std::size_t mark = text.find(sourceMark); mark != text.npos;
         mark = text.find(sourceMark, mark + 1)) {
        const std::size_t start = text.find_last_of(separators, mark) + 1; // npos + 1 is 0
        const auto known = registry.instancesByName.find(std::string(text.substr(start, mark - start)));
        const auto source = sourceIn(text.substr(mark + sourceMark.size()));
        if (source && known != registry.instancesByName.end()) {
            addSource(*known->second, *source);
        }
    }
}

void Catalog::addSource(const BaseSignal& signal, std::uint8_t source) {
    const Origin& origin = origins[indexOf(signal.id)];
    const MessageDefinition& message = *origin.message;
    if (!message.isParameterGroup || j1939::sourceOf(message.id) != j1939::nullAddress) {
        return;
    }
    const std::uint8_t channel = message.channel.value_or(0);
    DecoderTable& table = message.channel ? bound : unbound;
    const std::uint64_t key = groupKey(channel, (message.id & ~std::uint32_t{0xFF}) | source);
    if (!find(table, key).empty()) {
        return;
    }
    for (MessageDecoder* const decoder : find(table, anySourceKey(channel, message.id))) {
        if (MessageDecoder* const made = decoderFor(*decoder, source)) {
            table.file(key, made);
        }
    }
}

} // namespace rksignal

#include "value/Replay.h"

#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/GPSSignal.h"
#include "value/ReplayEngine.h"

#include <algorithm>
#include <functional>
#include <unordered_set>
#include <utility>

namespace rksignal {
namespace {

std::uint32_t canIdentifier(std::uint32_t id, bool extended) {
    return std::uint32_t{extended} << 31 | id;
}

template <class Message>
std::uint32_t firstInput(const Message& message) {
    return message.elements.empty() ? 0 : message.elements.front().input;
}

bool hasValue(BaseSignal& signal) {
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    return signal.read(raw, timestamp);
}

} // namespace

ReplayEngine::ReplayEngine(Catalog& catalog, ValueSink& sink, const ReplaySettings& settings,
                           const Shared* shared)
    : catalog(catalog), sink(sink), transport([&catalog](std::uint8_t channel, std::uint32_t id) {
          return catalog.definesGroup(channel, id);
      }),
      knownSignals(catalog.signals().size()) {
    if (!settings.strict) {
        ethernet = std::make_unique<EthernetDecoder>(
            catalog, ids, shared != nullptr ? shared->flows : ownFlows,
            shared != nullptr ? shared->beforeFlows : nullptr,
            [this](const MessageInfo& info, bool isInOrder) { isInOrder ? handOn(info) : writeGroup(info); });
    }
    findIdleMessages(settings.wanted);
    ids.reserve(catalog.signals().size());
    held.reserve(catalog.signals().size());
    turns.resize(catalog.signals().size());
}

void ReplayEngine::findIdleMessages(const std::vector<bool>& wanted) {
    std::unordered_set<const MessageDefinition*> busy;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i]) {
            busy.insert(catalog.origin(i).message);
        }
    }
    for (const MessageDefinition& message : catalog.messages()) {
        idleMessages.push_back(!wanted.empty() && !busy.contains(&message));
    }
}

void ReplayEngine::pass(PassedMessage kind, std::uint64_t timestamp) {
    ++counts.passed[static_cast<std::size_t>(kind)];
    sink.reached(timestamp);
}

void ReplayEngine::receive(const CANExtTraceMessage& frame) {
    const MessageInfo info{frame.timestamp, {frame.channel, SignalKind::Can}};
    sink.reached(frame.timestamp);
    if (MessageDecoder* const decoder = soleDecoderOf(frame)) {
        if (const auto whole = decoder->decodeWhole(frame); !whole.empty()) {
            sink.writtenWhole(info, decoder->number(), whole);
            return conclude(info, true, 0);
        }
    }
    decodeAny(frame, info);
}

/// The fast way to the definition of a frame: most have one, and the same frames come again and again.
/// \return null if there may be more to do
MessageDecoder* ReplayEngine::soleDecoderOf(const CANExtTraceMessage& frame) {
    constexpr std::uint64_t goldenRatio = 0x9E3779B97F4A7C15; // of 2^64: spreads over the upper bits
    constexpr unsigned shift = 64 - soleDecoderBits;
    const std::uint64_t key =
        std::uint64_t{frame.channel} << 33 | std::uint64_t{frame.isExtended()} << 32 | frame.canId;
    SoleDecoder& entry = soleDecoders[key * goldenRatio >> shift];
    if (entry.frame != key) {
        entry = {key, searchSoleDecoder(frame)};
    }
    return entry.decoder;
}

MessageDecoder* ReplayEngine::searchSoleDecoder(const CANExtTraceMessage& frame) const {
    const auto [bound, unbound] = catalog.decodersOf(frame.channel, frame.canId, frame.isExtended());
    if (bound.size() + unbound.size() != 1 || (catalog.hasParameterGroups() && frame.isExtended())) {
        return nullptr;
    }
    MessageDecoder* const decoder = bound.empty() ? unbound.front() : bound.front();
    return isIdle(*decoder) || decoder->message().pduId ? nullptr : decoder;
}

void ReplayEngine::decodeAny(const CANExtTraceMessage& frame, const MessageInfo& info) {
    bool known = false;
    for (const auto decoders : catalog.decodersOf(frame.channel, frame.canId, frame.isExtended())) {
        for (MessageDecoder* const decoder : decoders) {
            if (isIdle(*decoder)) {
                known = true;
                continue;
            }
            known = decoder->decode(frame, ids) || known;
            if (decoder->message().pduId) {
                writeGroup(info);
            } else if (!ids.empty()) {
                sink.written(info, ids);
            }
        }
    }
    if (catalog.hasParameterGroups() && frame.isExtended()) {
        known = receiveParameterGroup(frame, info) || known;
    }
    conclude(info, known, canIdentifier(frame.canId, frame.isExtended()));
}

void ReplayEngine::receive(const LINTraceMessage& frame) {
    constexpr std::uint8_t withoutParity = 0x3F;
    decodeBus({frame.timestamp, {frame.channel, SignalKind::Lin}}, frame.protectedId & withoutParity, frame,
              [this](const LINTraceMessage& each, std::uint8_t source, SignalStorage& storage) {
                  return LINSignal::decodeMessage(each, ids, source, &storage);
              });
}

void ReplayEngine::receive(const FlexRayExtTraceMessage& frame) {
    decodeBus({frame.timestamp, {frame.channel, SignalKind::FlexRay}}, frame.slot, frame,
              [this](const FlexRayExtTraceMessage& each, std::uint8_t source, SignalStorage& storage) {
                  return decodeFlexRay(each, source, storage);
              });
}

/// \return whether there is a definition, also when nothing in the frame was updated
bool ReplayEngine::decodeFlexRay(const FlexRayExtTraceMessage& frame, std::uint8_t source,
                                 SignalStorage& storage) {
    const auto decode = [&](const FlexRayExtTraceMessage& each) {
        FlexRaySignal::decodeMessage(each, ids, source, &storage);
        return FlexRaySignal::framesOf(&storage).contains(
            flexray::frameKey(source, each.channel, each.slot, each.frameKind, each.cycle));
    };
    if (frame.frameKind != unknownSegment) {
        return decode(frame);
    }
    placed = frame;
    placed.frameKind = FlexRayExtTraceMessage::Static;
    if (decode(placed)) {
        return true;
    }
    placed.frameKind = FlexRayExtTraceMessage::Dynamic;
    return decode(placed);
}

const ReplayStatistics& ReplayEngine::statistics() {
    if (ethernet) {
        counts.someIp = ethernet->statistics();
    }
    return counts;
}

void ReplayEngine::finish() {
    if (ethernet && !sink.closed()) {
        ethernet->finish();
    }
}

void ReplayEngine::receive(const MIITraceMessage& frame) {
    decodeEthernet(frame, true);
}

void ReplayEngine::receive(const EthernetTraceMessage& frame) {
    decodeEthernet(frame, frame.kind == EthernetTraceMessage::Frame);
}

template <class Frame>
void ReplayEngine::decodeEthernet(const Frame& frame, bool isFrame) {
    const MessageInfo info{frame.timestamp, {frame.channel, SignalKind::Ethernet}};
    if (!ethernet) {
        decodeBus(info, 0, frame, [this](const Frame& each, std::uint8_t, SignalStorage& storage) {
            return EthernetSignal::decodeMessage(each, ids, &storage);
        });
        return;
    }
    sink.reached(frame.timestamp);
    conclude(info, isFrame && ethernet->decode(frame.channel, frame.frame, frame.timestamp), 0);
}

void ReplayEngine::receive(const GpioTraceMessage& message) {
    decodeGroup({message.timestamp, {{}, SignalKind::Digital}}, firstInput(message),
                [&](std::uint8_t source) {
                    return InputSignal::decodeMessage(message, ids, source, &catalog.storage());
                });
}

void ReplayEngine::receive(const AnalogTraceMessage& message) {
    decodeGroup({message.timestamp, {{}, SignalKind::Analog}}, firstInput(message), [&](std::uint8_t source) {
        return InputSignal::decodeMessage(message, ids, source, &catalog.storage());
    });
}

void ReplayEngine::receive(const KeyboardMessage& message) {
    decodeGroup({message.timestamp, {{}, SignalKind::Keyboard}}, static_cast<std::uint32_t>(message.keyCode),
                [&](std::uint8_t) { return InputSignal::decodeMessage(message, ids, &catalog.storage()); });
}

void ReplayEngine::receive(const SystemMessage& message) {
    decodeGroup({message.timestamp, {{}, SignalKind::Status}}, message.code,
                [&](std::uint8_t) { return InputSignal::decodeMessage(message, ids, &catalog.storage()); });
}

/// A receiver without a fix takes values away, which the library does not report.
void ReplayEngine::receive(const GPSTraceMessage& message) {
    const SignalGroup& group = catalog.group(SignalKind::Gps);
    held.clear();
    for (const std::size_t signal : group.members) {
        if (hasValue(*catalog.signals()[signal])) {
            held.push_back(catalog.signals()[signal]->id);
        }
    }
    const MessageInfo info{message.timestamp, {{}, SignalKind::Gps}};
    sink.reached(message.timestamp);
    if (!group.members.empty() && GPSSignal::decodeMessage(message, ids, &catalog.storage())) {
        writeGroup(info);
    }
    std::erase_if(held,
                  [this](unsigned long id) { return hasValue(*catalog.signals()[catalog.indexOf(id)]); });
    if (!held.empty()) {
        sink.withdrawn(info, held);
    }
    conclude(info, !group.members.empty(), 0);
}

/// Lets `decode` decode the message of a bus for each trace source, and a copy of it for the definitions of
/// all channels.
template <class Message, class Decode>
void ReplayEngine::decodeBus(const MessageInfo& info, std::uint32_t identifier, const Message& message,
                             Decode&& decode) {
    sink.reached(info.timestamp);
    const SignalGroup& group = catalog.group(info.origin.kind);
    bool known = decodeSources(
        info, group.sources, [&](std::uint8_t source) { return decode(message, source, catalog.storage()); });
    if (!group.anyChannelSources.empty()) {
        auto& copy = std::get<Message>(moved);
        copy = message;
        copy.channel = 0;
        known |= decodeSources(info, group.anyChannelSources, [&](std::uint8_t source) {
            return decode(copy, source, catalog.anyChannelStorage());
        });
    }
    conclude(info, known, identifier);
}

/// Lets `decode` decode a message for each trace source.
template <class Decode>
void ReplayEngine::decodeGroup(const MessageInfo& info, std::uint32_t identifier, Decode&& decode) {
    sink.reached(info.timestamp);
    conclude(info, decodeSources(info, catalog.group(info.origin.kind).sources, decode), identifier);
}

/// \return whether there is a definition
template <class Decode>
bool ReplayEngine::decodeSources(const MessageInfo& info, const std::vector<std::uint8_t>& sources,
                                 Decode&& decode) {
    bool known = false;
    for (const std::uint8_t source : sources) {
        if (decode(source)) {
            known = true;
            writeGroup(info);
        }
    }
    return known;
}

/// Hands on what the library has written, in the order of definition: its own order for Ethernet is that of
/// addresses. A signal that lies at several positions of the message has been written several times, and has
/// the value of the last one.
void ReplayEngine::writeGroup(const MessageInfo& info) {
    const auto indexOf = [this](unsigned long id) { return catalog.indexOf(id); };
    if (info.origin.kind == SignalKind::Ethernet) {
        std::ranges::sort(ids, std::less<>(), indexOf);
    }
    ++turn;
    std::erase_if(ids, [&](unsigned long id) { return std::exchange(turns[indexOf(id)], turn) == turn; });
    if (!ids.empty()) {
        handOn(info);
    }
}

/// REQUIRES: `ids` is not empty, and in the order of definition.
void ReplayEngine::handOn(const MessageInfo& info) {
    catalog.markSeen(ids);
    sink.written(info, ids);
}

void ReplayEngine::conclude(const MessageInfo& info, bool known, std::uint32_t identifier) {
    if (known) {
        ++counts.decoded[static_cast<std::size_t>(info.origin.kind)];
        sink.decoded(info);
    } else {
        counts.countUnknown(info.origin, identifier);
    }
}

Replay::Replay(Catalog& catalog, ValueSink& sink, const ReplaySettings& settings)
    : engine(std::make_unique<ReplayEngine>(catalog, sink, settings)) {}

Replay::~Replay() = default;

void Replay::run(Trace& trace) {
    trace.run(*engine);
    engine->finish();
}

void Replay::runAhead(Trace& trace, const std::function<void()>& handedOn) {
    trace.runAhead(*engine, handedOn);
    engine->finish();
}

void Replay::receive(const CANExtTraceMessage& frame) {
    engine->receive(frame);
}

void Replay::receive(const LINTraceMessage& frame) {
    engine->receive(frame);
}

void Replay::receive(const FlexRayExtTraceMessage& frame) {
    engine->receive(frame);
}

void Replay::receive(const MIITraceMessage& frame) {
    engine->receive(frame);
}

void Replay::receive(const EthernetTraceMessage& frame) {
    engine->receive(frame);
}

void Replay::receive(const GpioTraceMessage& message) {
    engine->receive(message);
}

void Replay::receive(const AnalogTraceMessage& message) {
    engine->receive(message);
}

void Replay::receive(const KeyboardMessage& message) {
    engine->receive(message);
}

void Replay::receive(const SystemMessage& message) {
    engine->receive(message);
}

void Replay::receive(const GPSTraceMessage& message) {
    engine->receive(message);
}

bool Replay::receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) {
    return engine->receiveRecord(record, timestamp);
}

void Replay::pass(PassedMessage kind, std::uint64_t timestamp) {
    engine->pass(kind, timestamp);
}

bool Replay::closed() const {
    return engine->closed();
}

void Replay::finish() {
    engine->finish();
}

const ReplayStatistics& Replay::statistics() const {
    return engine->statistics();
}

} // namespace rksignal

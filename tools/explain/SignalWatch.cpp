#include "explain/SignalWatch.h"

#include <algorithm>
#include <utility>

namespace rksignal {

SignalWatch::SignalWatch(const Catalog& catalog, std::size_t signal, std::size_t count)
    : message(*catalog.origin(signal).message), signal(*catalog.signals()[signal]),
      count(std::max<std::size_t>(count, 1)) {}

template <class Message>
void SignalWatch::handOn(const Message& received) {
    next->receive(received);
    current = {};
}

bool SignalWatch::isOfMessage(const CANExtTraceMessage& frame) const {
    const bool hasIdentifier = message.isParameterGroup
                                   ? j1939::groupOf(frame.canId) == j1939::groupOf(message.id)
                                   : frame.canId == message.id && frame.isExtended() == message.extended;
    return message.kind == SignalKind::Can && hasIdentifier &&
           frame.channel == message.channel.value_or(frame.channel);
}

void SignalWatch::receive(const CANExtTraceMessage& frame) {
    const std::size_t length = std::min<std::size_t>(frame.length, frame.payload.size());
    current = {{frame.payload.data(), length}, frame.canId, 0};
    if (isOfMessage(frame)) {
        keepLast({frame.timestamp, {frame.channel, SignalKind::Can}});
    }
    handOn(frame);
}

void SignalWatch::receive(const LINTraceMessage& frame) {
    constexpr std::uint8_t withoutParity = 0x3F;
    current = {frame.data, std::uint32_t{frame.protectedId} & withoutParity, 0};
    if (message.kind == SignalKind::Lin && current.identifier == message.id &&
        frame.channel == message.channel.value_or(frame.channel)) {
        keepLast({frame.timestamp, {frame.channel, SignalKind::Lin}});
    }
    handOn(frame);
}

void SignalWatch::receive(const FlexRayExtTraceMessage& frame) {
    current = {frame.payload, frame.slot, frame.cycle};
    if (message.kind == SignalKind::FlexRay && frame.slot == message.id &&
        frame.channel == message.channel.value_or(frame.channel)) {
        keepLast({frame.timestamp, {frame.channel, SignalKind::FlexRay}});
    }
    handOn(frame);
}

void SignalWatch::receive(const MIITraceMessage& frame) {
    current.bytes = frame.frame;
    handOn(frame);
}

void SignalWatch::receive(const EthernetTraceMessage& frame) {
    current.bytes = frame.frame;
    handOn(frame);
}

void SignalWatch::written(const MessageInfo& info, std::span<const unsigned long> ids) {
    if (std::find(ids.begin(), ids.end(), signal.id) == ids.end()) {
        return;
    }
    SeenValue value;
    if (seen.size() == count) { // its memory serves again
        value = std::move(seen.front());
        seen.pop_front();
    }
    ++valuesWritten;
    keep(info, value.frame);
    unsigned long timestamp = 0;
    signal.read(value.raw, timestamp);
    signal.read(value.value, timestamp);
    seen.push_back(std::move(value));
}

void SignalWatch::keep(const MessageInfo& info, SeenFrame& frame) const {
    frame.timestamp = info.timestamp;
    frame.origin = info.origin;
    frame.identifier = current.identifier;
    frame.cycle = current.cycle;
    frame.bytes.assign(current.bytes.begin(), current.bytes.end());
}

void SignalWatch::keepLast(const MessageInfo& info) {
    keep(info, last ? *last : last.emplace());
}

} // namespace rksignal

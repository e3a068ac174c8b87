// Parameter groups of SAE J1939 on their way into a replay: each frame by itself, and the messages that come
// in several frames.

#include "value/ReplayEngine.h"

#include <algorithm>

namespace rksignal {

/// A frame that may be one of a parameter group, or a part of one.
bool ReplayEngine::receiveParameterGroup(const CANExtTraceMessage& frame, const MessageInfo& info) {
    const std::size_t length = std::min<std::size_t>(frame.length, frame.payload.size());
    const bool known = decodeParameterGroup(
        frame.canId, {{frame.payload.data(), length}, frame.timestamp, frame.channel}, info);
    if (!J1939Transport::isTransport(frame.canId)) {
        return known;
    }
    const J1939Transport::Outcome outcome = transport.receive(frame);
    counts.transport = transport.statistics();
    if (!outcome.data.empty()) {
        decodeParameterGroup(outcome.id, {outcome.data, frame.timestamp, frame.channel}, info);
    }
    return known || outcome.isPart;
}

/// \return whether there is a definition
bool ReplayEngine::decodeParameterGroup(std::uint32_t id, const MessageDecoder::Payload& payload,
                                        const MessageInfo& info) {
    bool known = false;
    for (const auto decoders : catalog.groupDecodersOf(payload.channel, id)) {
        if (catalog.signals().size() != knownSignals) {
            knownSignals = catalog.signals().size();
            sink.signalsAdded();
        }
        for (MessageDecoder* const decoder : decoders) {
            known = true;
            if (isIdle(*decoder)) {
                continue;
            }
            decoder->decode(payload, ids);
            if (!ids.empty()) {
                sink.written(info, ids);
            }
        }
    }
    return known;
}

} // namespace rksignal

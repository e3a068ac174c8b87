#include "convert/FrameSelector.h"

#include "command/UsageError.h"
#include "text/ClosestNames.h"

#include <algorithm>
#include <fnmatch.h>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

bool contains(const FrameIds& ids, const CANExtTraceMessage& frame) {
    return ids.contains(SignalKind::Can, frame.canId, frame.isExtended());
}

bool contains(const FrameIds& ids, const LINTraceMessage& frame) {
    constexpr std::uint32_t withoutParity = 0x3F;
    return ids.contains(SignalKind::Lin, frame.protectedId & withoutParity);
}

bool contains(const FrameIds& ids, const FlexRayExtTraceMessage& frame) {
    return ids.contains(SignalKind::FlexRay, frame.slot);
}

bool contains(const FrameIds& ids, const MIITraceMessage& /*frame*/) {
    return ids.contains(SignalKind::Ethernet, 0);
}

bool contains(const FrameIds& ids, const EthernetTraceMessage& /*frame*/) {
    return ids.contains(SignalKind::Ethernet, 0);
}

template <class Message>
bool containsInput(const FrameIds& ids, SignalKind kind, const Message& message) {
    return std::any_of(message.elements.begin(), message.elements.end(),
                       [&](const auto& element) { return ids.contains(kind, element.input); });
}

bool contains(const FrameIds& ids, const GpioTraceMessage& message) {
    return containsInput(ids, SignalKind::Digital, message);
}

bool contains(const FrameIds& ids, const AnalogTraceMessage& message) {
    return containsInput(ids, SignalKind::Analog, message);
}

bool contains(const FrameIds& ids, const KeyboardMessage& message) {
    return ids.contains(SignalKind::Keyboard, static_cast<std::uint32_t>(message.keyCode));
}

bool contains(const FrameIds& ids, const SystemMessage& message) {
    return ids.contains(SignalKind::Status, message.code);
}

bool contains(const FrameIds& ids, const GPSTraceMessage& /*message*/) {
    return ids.contains(SignalKind::Gps, 0);
}

/// Patterns, and which of them have matched.
class Patterns {
  public:
    explicit Patterns(const std::vector<std::string>& patterns)
        : patterns(patterns), matched(patterns.size()) {}

    bool match(const std::string& name) {
        bool any = false;
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            if (fnmatch(patterns[i].c_str(), name.c_str(), 0) == 0) {
                any = matched[i] = true;
            }
        }
        return any;
    }

    /// \throws UsageError if one has matched nothing; the text names what comes close
    void requireAll(const Catalog& catalog) const {
        const auto missing = std::find(matched.begin(), matched.end(), false);
        if (missing == matched.end()) {
            return;
        }
        std::vector<std::string_view> names;
        for (const auto& signal : catalog.signals()) {
            names.push_back(signal->def.instance);
        }
        for (const MessageDefinition& message : catalog.messages()) {
            names.push_back(message.name);
        }
        const std::string& pattern = patterns[static_cast<std::size_t>(missing - matched.begin())];
        throw UsageError("--only " + pattern + " matches no message and no signal" +
                         closestNames(pattern, names));
    }

  private:
    const std::vector<std::string>& patterns;
    std::vector<bool> matched;
};

} // namespace

std::vector<MessageDefinition> selectMessages(const Catalog& catalog, const std::vector<std::string>& texts) {
    Patterns patterns(texts);
    std::vector<MessageDefinition> selected;
    for (MessageDefinition& message : catalog.decodedMessages()) {
        const bool isWhole = patterns.match(message.name);
        std::vector<SignalDefinition> signals;
        for (const SignalDefinition& signal : message.signals) {
            if (patterns.match(signal.common().instance)) {
                signals.push_back(signal);
            }
        }
        if (!isWhole && signals.empty()) {
            continue;
        }
        if (!isWhole && message.kind != SignalKind::Can) { // whose signals depend on each other
            message.signals = std::move(signals);
        }
        selected.push_back(std::move(message));
    }
    patterns.requireAll(catalog);
    return selected;
}

FrameSelector::FrameSelector(MessageSink& target, const FrameIds& ids,
                             std::vector<MessageDefinition> messages)
    : target(target), ids(ids) {
    if (!messages.empty()) {
        DefinitionFile file;
        file.messages = std::move(messages);
        file.choosesInstances = true;
        catalog.add(std::move(file));
        replay = std::make_unique<Replay>(catalog, noted);
    }
}

template <class Message>
void FrameSelector::select(const Message& message) {
    noted.any = contains(ids, message);
    if (replay) {
        replay->receive(message);
    }
    if (!noted.any) {
        ++others;
    } else if (record.empty()) {
        target.receive(message);
    } else {
        target.receiveRecord(record, recordTime);
    }
}

bool FrameSelector::receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) {
    record = bytes;
    recordTime = timestamp;
    const bool isRecord = MessageSink::receiveRecord(bytes, timestamp);
    record = {};
    return isRecord;
}

void FrameSelector::pass(PassedMessage /*kind*/, std::uint64_t /*timestamp*/) {
    ++others;
}

} // namespace rksignal

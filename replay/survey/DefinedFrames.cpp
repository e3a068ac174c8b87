#include "survey/DefinedFrames.h"

#include <algorithm>

namespace rksignal {
namespace {

std::string nameOf(const MessageDefinition& message) {
    constexpr std::size_t maxSignals = 3;
    if (!message.name.empty()) {
        return message.name;
    }
    std::string names;
    for (std::size_t i = 0; i < message.signals.size() && i < maxSignals; ++i) {
        names += (i == 0 ? "" : " ") + message.signals[i].common().instance;
    }
    return names + (message.signals.size() > maxSignals ? " ..." : "");
}

} // namespace

DefinedFrames::DefinedFrames(Catalog& catalog) : catalog(catalog) {
    for (const MessageDefinition& message : catalog.messages()) {
        if (message.kind == SignalKind::Lin || message.kind == SignalKind::FlexRay) {
            others.emplace(Key{message.kind, message.id}, &message);
        }
    }
}

std::vector<const MessageDefinition*> DefinedFrames::of(const FrameIdentity& identity) {
    std::vector<const MessageDefinition*> found;
    const std::uint8_t channel = identity.channel.value_or(0);
    if (identity.kind == SignalKind::Can) {
        const auto add = [&found](const auto& lists) {
            for (const auto decoders : lists) {
                for (const MessageDecoder* const decoder : decoders) {
                    found.push_back(&decoder->message());
                }
            }
        };
        add(catalog.decodersOf(channel, identity.id, identity.extended));
        if (identity.extended && catalog.hasParameterGroups()) {
            add(catalog.groupDecodersOf(channel, identity.id));
        }
        return found;
    }
    const auto [begin, end] = others.equal_range({identity.kind, identity.id});
    for (auto each = begin; each != end; ++each) {
        if (each->second->channel.value_or(channel) == channel) {
            found.push_back(each->second);
        }
    }
    return found;
}

std::string DefinedFrames::namesOf(const FrameIdentity& identity) {
    std::vector<std::string> names;
    for (const MessageDefinition* const message : of(identity)) {
        const std::string name = nameOf(*message);
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

} // namespace rksignal

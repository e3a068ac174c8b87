#include "value/UnknownMessages.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr unsigned kindShift = 48;
constexpr unsigned hasChannelShift = 40;
constexpr unsigned channelShift = 32;

std::uint64_t keyOf(const MessageOrigin& origin, std::uint32_t identifier) {
    return static_cast<std::uint64_t>(origin.kind) << kindShift |
           std::uint64_t{origin.channel.has_value()} << hasChannelShift |
           std::uint64_t{origin.channel.value_or(0)} << channelShift | identifier;
}

UnknownMessage messageOf(std::uint64_t key, std::uint64_t count) {
    const bool hasChannel = (key >> hasChannelShift & 1) != 0;
    const auto channel = static_cast<std::uint8_t>(key >> channelShift);
    return {{hasChannel ? std::optional(channel) : std::nullopt, static_cast<SignalKind>(key >> kindShift)},
            static_cast<std::uint32_t>(key),
            count};
}

} // namespace

void UnknownMessages::count(const MessageOrigin& origin, std::uint32_t identifier) {
    const std::uint64_t key = keyOf(origin, identifier);
    const auto entry = counts.find(key);
    if (entry != counts.end()) {
        ++entry->second;
    } else if (counts.size() < maxIdentifiers) {
        counts.emplace(key, 1);
    } else {
        ++beyond;
    }
}

std::vector<UnknownMessage> UnknownMessages::of(SignalKind kind) const {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> entries;
    std::copy_if(counts.begin(), counts.end(), std::back_inserter(entries),
                 [kind](const auto& entry) { return SignalKind(entry.first >> kindShift) == kind; });
    std::sort(entries.begin(), entries.end(), [](const auto& left, const auto& right) {
        return left.second != right.second ? left.second > right.second : left.first < right.first;
    });
    std::vector<UnknownMessage> messages;
    for (const auto& [key, count] : entries) {
        messages.push_back(messageOf(key, count));
    }
    return messages;
}

} // namespace rksignal

#include "value/UnknownMessages.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

constexpr unsigned kindShift = 48;
constexpr unsigned hasChannelShift = 40;
constexpr unsigned channelShift = 32;
constexpr unsigned hashShift = 40; // leaves more bits than a table needs

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

/// Where the key is, or a free place for it. REQUIRES: there is a table
UnknownMessages::Entry& UnknownMessages::find(std::uint64_t key) {
    constexpr std::uint64_t goldenRatio = 0x9E3779B97F4A7C15; // of 2^64: spreads over the upper bits
    const std::size_t mask = table.size() - 1;
    auto at = static_cast<std::size_t>(key * goldenRatio >> hashShift) & mask;
    while (table[at].count > 0 && table[at].key != key) {
        at = (at + 1) & mask;
    }
    return table[at];
}

void UnknownMessages::grow() {
    constexpr std::size_t first = 256;
    std::vector<Entry> former(std::max(first, 2 * table.size()));
    former.swap(table);
    for (const Entry& entry : former) {
        if (entry.count > 0) {
            find(entry.key) = entry;
        }
    }
}

void UnknownMessages::count(const MessageOrigin& origin, std::uint32_t identifier) {
    count(keyOf(origin, identifier), 1);
}

void UnknownMessages::count(std::uint64_t key, std::uint64_t messages) {
    if (used < maxIdentifiers && 2 * used >= table.size()) {
        grow();
    }
    Entry& entry = find(key);
    if (entry.count > 0) {
        entry.count += messages;
    } else if (used < maxIdentifiers) {
        entry = {key, messages, used};
        ++used;
    } else {
        beyond += messages;
    }
}

void UnknownMessages::add(const UnknownMessages& later) {
    std::vector<Entry> entries;
    std::copy_if(later.table.begin(), later.table.end(), std::back_inserter(entries),
                 [](const Entry& entry) { return entry.count > 0; });
    std::sort(entries.begin(), entries.end(),
              [](const Entry& left, const Entry& right) { return left.order < right.order; });
    for (const Entry& entry : entries) {
        count(entry.key, entry.count);
    }
    beyond += later.beyond;
}

std::vector<UnknownMessage> UnknownMessages::of(SignalKind kind) const {
    std::vector<Entry> entries;
    std::copy_if(table.begin(), table.end(), std::back_inserter(entries), [kind](const Entry& entry) {
        return entry.count > 0 && SignalKind(entry.key >> kindShift) == kind;
    });
    std::sort(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
        return left.count != right.count ? left.count > right.count : left.key < right.key;
    });
    std::vector<UnknownMessage> messages;
    for (const Entry& entry : entries) {
        messages.push_back(messageOf(entry.key, entry.count));
    }
    return messages;
}

} // namespace rksignal

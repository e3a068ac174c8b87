#include "trace/ChannelMap.h"

#include "text/PrintableText.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace rksignal {
namespace {

constexpr std::size_t maxNames = 256;

} // namespace

std::optional<std::uint8_t> trailingNumber(std::string_view name) {
    const std::size_t digits = name.find_last_not_of("0123456789") + 1; // npos + 1 is 0
    std::uint8_t number = 0;
    const auto [end, status] = std::from_chars(name.data() + digits, name.data() + name.size(), number);
    return status == std::errc() ? std::optional(number) : std::nullopt;
}

void ChannelMap::assign(std::string_view name, std::uint8_t channel) {
    entries.push_back({std::string(name), channel, true});
    latest = entries.size();
}

std::optional<std::uint8_t> ChannelMap::expect(std::string_view name) {
    const auto channel = search(name);
    if (channel) {
        entries[latest].isExpected = true;
    }
    latest = entries.size();
    return channel;
}

std::vector<std::string> ChannelMap::absent(const std::bitset<256>& cameWith) const {
    std::vector<std::string> names;
    for (const Entry& entry : entries) {
        const auto replaces = [&entry](const Entry& other) {
            return other.hasCome && other.channel == entry.channel;
        };
        if (entry.isExpected && !entry.hasCome &&
            (!cameWith[entry.channel] || std::any_of(entries.begin(), entries.end(), replaces))) {
            names.push_back(entry.name);
        }
    }
    return names;
}

bool ChannelMap::knows(std::string_view name) const {
    return std::any_of(entries.begin(), entries.end(),
                       [name](const Entry& entry) { return entry.name == name; });
}

std::optional<std::uint8_t> ChannelMap::meet(std::string_view name) {
    const auto channel = search(name);
    if (channel) {
        entries[latest].hasCome = true;
    }
    return channel;
}

/// Finds or enters a name, which becomes the latest.
std::optional<std::uint8_t> ChannelMap::search(std::string_view name) {
    for (latest = 0; latest < entries.size(); ++latest) {
        if (entries[latest].name == name) {
            return entries[latest].channel;
        }
    }
    if (entries.size() == maxNames) {
        return std::nullopt;
    }
    if (const auto number = trailingNumber(name)) {
        if (const Entry* const other = firstOf(*number)) {
            notes.add({std::string(name), Severity::Warning,
                       "interfaces " + printable(other->name) + " and " + printable(name) +
                           " are both channel " + std::to_string(*number)});
        }
        entries.push_back({std::string(name), *number});
        return number;
    }
    const auto picked = lowestFree();
    if (picked) {
        entries.push_back({std::string(name), *picked});
        notes.add({std::string(name), Severity::Note,
                   "interface " + printable(name) + " counts as channel " + std::to_string(*picked)});
    }
    return picked;
}

std::optional<std::uint8_t> ChannelMap::lowestFree() const {
    for (unsigned channel = 0; channel <= 255; ++channel) {
        if (firstOf(static_cast<std::uint8_t>(channel)) == nullptr) {
            return static_cast<std::uint8_t>(channel);
        }
    }
    return std::nullopt;
}

const ChannelMap::Entry* ChannelMap::firstOf(std::uint8_t channel) const {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [channel](const Entry& entry) { return entry.channel == channel; });
    return entry != entries.end() ? &*entry : nullptr;
}

std::string ChannelMap::nameOf(std::uint8_t channel) const {
    const Entry* const entry = firstOf(channel);
    return entry != nullptr ? printable(entry->name) : "channel " + std::to_string(channel);
}

} // namespace rksignal

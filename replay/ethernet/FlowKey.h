/// \file
/// What tells one flow of packets from another, and a bounded table of what is known about each.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace rksignal {

using ByteView = std::span<const std::uint8_t>;

/// One direction of the traffic between two ports, as seen on one channel.
struct FlowKey {
    std::array<std::uint8_t, 16> sourceIp{}; ///< of IPv4 the first 4 bytes
    std::array<std::uint8_t, 16> destinationIp{};
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint16_t vlanId = 0; ///< the innermost
    std::uint8_t ipVersion = 0;
    std::uint8_t channel = 0;

    friend bool operator==(const FlowKey&, const FlowKey&) = default;
};

/// The messages of one sender and method that SOME/IP-TP cuts into segments.
struct SegmentedKey {
    FlowKey flow;
    std::uint32_t identifier = 0; ///< service and method
    std::uint32_t request = 0;    ///< client and session
    std::uint32_t messageType = 0;

    friend bool operator==(const SegmentedKey&, const SegmentedKey&) = default;
};

/// Hashes the bytes of a key.
struct KeyHash {
    template <class Key>
    std::size_t operator()(const Key& key) const {
        static_assert(std::has_unique_object_representations_v<Key>);
        char bytes[sizeof(Key)];
        std::memcpy(bytes, &key, sizeof key);
        return std::hash<std::string_view>()({bytes, sizeof bytes});
    }
};

/// Keeps the values of at most `maxEntries` keys. A further key takes over the entry that was not asked for
/// the longest, with the memory that its value has allocated.
template <class Key, class Value, std::size_t maxEntries>
class BoundedTable {
  public:
    /// The value of `key`. If it is a new one, `Value::restart()` is called first.
    Value& at(const Key& key) {
        auto found = entries.find(key);
        if (found == entries.end()) {
            found = entries.size() < maxEntries ? entries.try_emplace(key).first : takeOver(key);
            found->second.value.restart();
        }
        found->second.lastUse = ++uses;
        return found->second.value;
    }

    /// Calls `visit(key, value)` for each entry.
    template <class Visit>
    void forEach(Visit&& visit) {
        for (auto& [key, entry] : entries) {
            visit(key, entry.value);
        }
    }

  private:
    struct Entry {
        Value value;
        std::uint64_t lastUse = 0;
    };
    using Entries = std::unordered_map<Key, Entry, KeyHash>;

    typename Entries::iterator takeOver(const Key& key) {
        const auto isOlder = [](const auto& left, const auto& right) {
            return left.second.lastUse < right.second.lastUse;
        };
        auto node = entries.extract(std::min_element(entries.begin(), entries.end(), isOlder));
        node.key() = key;
        return entries.insert(std::move(node)).position;
    }

    Entries entries;
    std::uint64_t uses = 0;
};

} // namespace rksignal

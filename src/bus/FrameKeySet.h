/// \file
/// A set of frame keys that is asked for every received frame.
#pragma once

#include "signal/HashIndex.h"

#include <cstdint>
#include <set>
#include <utility>

/// A `std::set` of frame keys, in its order and with its interface, that `contains` and `count` search in
/// constant time: a hash index stands beside the set. Not locked.
class FrameKeySet {
    using Set = std::set<std::uint64_t>;

  public:
    using key_type = Set::key_type;
    using value_type = Set::value_type;
    using size_type = Set::size_type;
    using iterator = Set::const_iterator;
    using const_iterator = Set::const_iterator;

    const_iterator begin() const { return keys.begin(); }
    const_iterator end() const { return keys.end(); }
    bool empty() const { return keys.empty(); }
    size_type size() const { return keys.size(); }

    bool contains(key_type key) const {
        return key != free ? index.find(key) != nullptr : keys.contains(free);
    }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }
    const_iterator find(key_type key) const { return contains(key) ? keys.find(key) : end(); }

    std::pair<iterator, bool> insert(key_type key) {
        const auto inserted = keys.insert(key);
        if (inserted.second && key != free) {
            index.enter({key});
        }
        return inserted;
    }
    std::pair<iterator, bool> emplace(key_type key) { return insert(key); }

    size_type erase(key_type key) {
        if (Entry* const entry = index.find(key)) {
            index.erase(entry);
        }
        return keys.erase(key);
    }
    void clear() {
        keys.clear();
        index.clear();
    }

  private:
    static constexpr key_type free = 0; // no frame's key; found in the set itself

    struct Entry {
        key_type value = free;
        key_type key() const { return value; }
        bool isFree() const { return value == free; }
    };

    Set keys;
    HashIndex<Entry> index;
};

/// \file
/// A set of frame keys that is asked for every received frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

/// A `std::set` of frame keys, in its order and with its interface, that `contains` and `count`
/// search in constant time: an open-addressing index stands beside the set. Not locked.
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
        if (index.empty()) {
            return false;
        }
        for (std::size_t place = home(key);; place = next(place)) {
            if (index[place] == free) {
                return key == free && keys.contains(free);
            }
            if (index[place] == key) {
                return true;
            }
        }
    }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }
    const_iterator find(key_type key) const { return contains(key) ? keys.find(key) : end(); }

    std::pair<iterator, bool> insert(key_type key) {
        const auto inserted = keys.insert(key);
        if (inserted.second) {
            if (2 * keys.size() > index.size()) {
                makeIndex();
            } else {
                enter(key);
            }
        }
        return inserted;
    }
    std::pair<iterator, bool> emplace(key_type key) { return insert(key); }

    /// Costs a pass over the set.
    size_type erase(key_type key) {
        const size_type erased = keys.erase(key);
        makeIndex();
        return erased;
    }
    void clear() {
        keys.clear();
        index.clear();
    }

  private:
    static constexpr key_type free = 0; // no frame's key; found in the set itself

    /// Fibonacci hashing: the top bits of the key times 2^64 over the golden ratio.
    std::size_t home(key_type key) const { return (key * 0x9E3779B97F4A7C15) >> shift; }
    std::size_t next(std::size_t place) const { return (place + 1) & (index.size() - 1); }

    void enter(key_type key) {
        std::size_t place = home(key);
        while (index[place] != free) {
            place = next(place);
        }
        index[place] = key;
    }

    /// At most half full.
    void makeIndex() {
        std::size_t size = 16;
        for (shift = 60; size < 4 * keys.size(); size *= 2) {
            --shift;
        }
        index.assign(size, free);
        for (const key_type key : keys) {
            enter(key);
        }
    }

    Set keys;
    std::vector<key_type> index; // a power of two
    int shift = 64;
};

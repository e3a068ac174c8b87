/// \file
/// The hash table behind every look-up that happens once a frame or once a word.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

/// A table of entries found by their key, with open addressing. It stands beside an ordered container, which
/// gives order and stable addresses.
///
/// `Entry` is movable, has `isFree()`, true of a default-constructed one, and `key()`, asked only when it is
/// not free. `Hash` turns a key into a number. At most half full; only growing allocates. A pointer to an
/// entry is good until the index changes.
template <class Entry, class Hash = std::identity>
class HashIndex {
  public:
    /// The entry with this key, or null.
    template <class Key>
    const Entry* find(const Key& key) const {
        for (std::size_t place = home(key);; place = next(place)) {
            const Entry& entry = entries[place];
            if (entry.isFree()) {
                return nullptr;
            }
            if (entry.key() == key) {
                return &entry;
            }
        }
    }
    template <class Key>
    Entry* find(const Key& key) {
        return const_cast<Entry*>(std::as_const(*this).find(key));
    }

    /// Adds an entry. REQUIRES: there is none with its key.
    Entry& enter(Entry&& entry) {
        if (2 * ++used > entries.size()) {
            grow();
        }
        return place(std::move(entry));
    }

    /// Frees an entry of the index and moves the later ones of its run up, so that no search stops short.
    void erase(Entry* entry) {
        auto hole = static_cast<std::size_t>(entry - entries.data());
        for (std::size_t place = next(hole); !entries[place].isFree(); place = next(place)) {
            const std::size_t fromHome = (place - home(entries[place].key())) & mask;
            const std::size_t fromHole = (place - hole) & mask;
            if (fromHome >= fromHole) {
                entries[hole] = std::move(entries[place]);
                hole = place;
            }
        }
        entries[hole] = Entry();
        --used;
    }

    void clear() { *this = HashIndex(); }

  private:
    /// Fibonacci hashing: the top bits of the product with 2^64 over the golden ratio.
    template <class Key>
    std::size_t home(const Key& key) const {
        return (std::uint64_t{Hash()(key)} * 0x9E3779B97F4A7C15) >> shift;
    }
    std::size_t next(std::size_t place) const { return (place + 1) & mask; }

    Entry& place(Entry&& entry) {
        std::size_t place = home(entry.key());
        while (!entries[place].isFree()) {
            place = next(place);
        }
        return entries[place] = std::move(entry);
    }

    /// Makes more room, mostly twice as much.
    void grow() {
        std::vector<Entry> former(std::max(std::size_t{16}, 2 * entries.size()));
        former.swap(entries);
        mask = entries.size() - 1;
        shift = 64 - std::countr_zero(entries.size());
        for (Entry& entry : former) {
            if (!entry.isFree()) {
                place(std::move(entry));
            }
        }
    }

    std::vector<Entry> entries = std::vector<Entry>(2); // a power of two; some of them are free
    std::size_t mask = 1;
    std::size_t used = 0;
    int shift = 63;
};

/// \file
/// The table in which a storage finds what belongs to an identifier.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

/// A `std::map` from identifier to a signal or to a list of signals, with its interface, order and stable
/// addresses, that takes little until somebody looks into it, as few clients do.
///
/// `Mapped` is `Signal*` or `std::vector<Signal*>`. As long as only the library files signals, the table is
/// *closed*: it keeps bare pointers in pages of 256 identifiers, which are running numbers and so fill pages;
/// some 8 bytes a signal. The first look of a client *opens* it: it makes the map, 64 bytes a signal and 112
/// with a list, and is that map from then on. Only `empty`, `size`, `clear`, `erase` by key and the
/// operations for the library leave it closed.
///
/// Not locked. Looking into a constant table opens it too, and so is a change.
template <class Mapped>
class SignalTable {
    using Map = std::map<std::uint64_t, Mapped>;
    static constexpr bool hasLists = !std::is_pointer_v<Mapped>;
    template <class Entry>
    struct PointerIn {
        using type = Entry;
    };
    template <class Pointer>
    struct PointerIn<std::vector<Pointer>> {
        using type = Pointer;
    };

  public:
    using Pointer = typename PointerIn<Mapped>::type;
    using key_type = typename Map::key_type;
    using mapped_type = Mapped;
    using value_type = typename Map::value_type;
    using size_type = typename Map::size_type;
    using difference_type = typename Map::difference_type;
    using reference = typename Map::reference;
    using const_reference = typename Map::const_reference;
    using iterator = typename Map::iterator;
    using const_iterator = typename Map::const_iterator;

    // --- the map ---

    operator Map&() { return opened(); }
    operator const Map&() const { return opened(); }

    iterator begin() { return opened().begin(); }
    iterator end() { return opened().end(); }
    const_iterator begin() const { return opened().begin(); }
    const_iterator end() const { return opened().end(); }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    auto rbegin() { return opened().rbegin(); }
    auto rend() { return opened().rend(); }
    auto rbegin() const { return std::as_const(opened()).rbegin(); }
    auto rend() const { return std::as_const(opened()).rend(); }
    bool empty() const { return pages.empty() && map.empty(); }
    size_type size() const {
        const auto add = [](size_type sum, const auto& page) { return sum + page.second.filed; };
        return std::accumulate(pages.begin(), pages.end(), map.size(), add);
    }

    iterator find(key_type key) { return opened().find(key); }
    const_iterator find(key_type key) const { return opened().find(key); }
    iterator lower_bound(key_type key) { return opened().lower_bound(key); }
    const_iterator lower_bound(key_type key) const { return opened().lower_bound(key); }
    iterator upper_bound(key_type key) { return opened().upper_bound(key); }
    const_iterator upper_bound(key_type key) const { return opened().upper_bound(key); }
    bool contains(key_type key) const { return opened().contains(key); }
    size_type count(key_type key) const { return opened().count(key); }
    mapped_type& at(key_type key) { return opened().at(key); }
    const mapped_type& at(key_type key) const { return opened().at(key); }
    mapped_type& operator[](key_type key) { return opened()[key]; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        return opened().try_emplace(key, std::forward<Args>(args)...);
    }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return opened().emplace(std::forward<Args>(args)...);
    }
    std::pair<iterator, bool> insert(const value_type& entry) { return opened().insert(entry); }
    std::pair<iterator, bool> insert(value_type&& entry) { return opened().insert(std::move(entry)); }

    iterator erase(iterator position) { return opened().erase(position); }
    iterator erase(const_iterator position) { return opened().erase(position); }
    size_type erase(key_type key) {
        if (isOpen) {
            return map.erase(key);
        }
        const auto page = pageWith(key);
        if (page == pages.end()) {
            return 0;
        }
        remove(page, key);
        return 1;
    }
    void clear() {
        pages.clear();
        map.clear();
    }
    friend bool operator==(const SignalTable& left, const SignalTable& right) {
        return left.opened() == right.opened();
    }

    // --- for the library: nothing of this opens the table, but a second signal under a key does ---

    /// Files `signal`, which is not null, under `key`: appends it to the list there. A table without lists
    /// keeps the entry that it has. \return whether it is filed
    bool file(key_type key, Pointer signal) {
        if (!isOpen) {
            if (pageWith(key) == pages.end()) {
                Page& page = pages[key / pageSize];
                page.signals[key % pageSize] = signal;
                ++page.filed;
                return true;
            }
            if constexpr (!hasLists) {
                return false;
            }
        }
        if constexpr (hasLists) {
            opened()[key].push_back(signal);
            return true;
        } else {
            return map.try_emplace(key, signal).second;
        }
    }

    enum class Unfiled : std::uint8_t {
        NoEntry,    ///< there is nothing under the key
        OthersOnly, ///< what is there stays
        Done,       ///< the signal has left its list, and an empty list the table
    };
    /// Removes `signal` from the list of `key`, once.
    Unfiled unfile(key_type key, const Pointer signal) requires(hasLists) {
        return isOpen ? unfileOpen(key, signal) : unfileClosed(key, signal);
    }

    /// The signal under `key`, or null.
    Pointer lookup(key_type key) const requires(!hasLists) {
        if (isOpen) {
            const auto entry = map.find(key);
            return entry != map.end() ? entry->second : nullptr;
        }
        const auto page = pageWith(key);
        return page != pages.end() ? page->second.signals[key % pageSize] : nullptr;
    }

  private:
    static constexpr key_type pageSize = 256;
    struct Page {
        std::array<Pointer, pageSize> signals{}; // null: there is none
        std::size_t filed = 0;                   // never 0 in a page that is kept
    };
    using Pages = std::map<key_type, Page>; // by identifier / pageSize

    /// The page that has a signal under `key`, or the end.
    typename Pages::iterator pageWith(key_type key) const {
        const auto page = pages.find(key / pageSize);
        return page != pages.end() && page->second.signals[key % pageSize] != nullptr ? page : pages.end();
    }

    void remove(typename Pages::iterator page, key_type key) {
        page->second.signals[key % pageSize] = nullptr;
        if (--page->second.filed == 0) {
            pages.erase(page);
        }
    }

    Unfiled unfileClosed(key_type key, const Pointer signal) {
        const auto page = pageWith(key);
        if (page == pages.end()) {
            return Unfiled::NoEntry;
        }
        if (page->second.signals[key % pageSize] != signal) {
            return Unfiled::OthersOnly;
        }
        remove(page, key);
        return Unfiled::Done;
    }

    Unfiled unfileOpen(key_type key, const Pointer signal) requires(hasLists) {
        const auto entry = map.find(key);
        if (entry == map.end()) {
            return Unfiled::NoEntry;
        }
        Mapped& list = entry->second;
        const auto position = std::find(list.begin(), list.end(), signal);
        if (position == list.end()) {
            return Unfiled::OthersOnly;
        }
        list.erase(position);
        if (list.empty()) {
            map.erase(entry);
        }
        return Unfiled::Done;
    }

    Map& opened() const {
        if (!isOpen) {
            Map made;
            for (const auto& [number, page] : pages) {
                for (key_type place = 0; place < pageSize; ++place) {
                    if (page.signals[place] != nullptr) {
                        made.emplace_hint(made.end(), number * pageSize + place, Mapped{page.signals[place]});
                    }
                }
            }
            map.swap(made);
            pages.clear();
            isOpen = true;
        }
        return map;
    }

    mutable Pages pages; // empty while the table is open
    mutable Map map;     // empty while it is closed
    mutable bool isOpen = false;
};

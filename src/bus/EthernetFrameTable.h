/// \file
/// The table of the kinds of Ethernet frames that signals are bound to.
#pragma once

#include "bus/EthernetFrameHash.h"
#include "signal/ChangeCounter.h"
#include "signal/OpeningIterator.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

class EthernetSignal;

/// A `std::map` from the frame hash of a signal to the signals bound to it, in order of address and with the
/// map's interface, that finds all entries that a frame matches without trying them one by one.
///
/// Beside the map stands an index: the entries are grouped by which of their fields are left open, and within
/// a group a hash over the other fields finds the entries that can match (the tuple space search of
/// Srinivasan, Suri and Varghese, "Packet Classification Using Tuple Space Search", 1999). Definitions come
/// in few such groups, so that a search costs some tens of nanoseconds a group, whatever the number of
/// entries. The index is made anew on the first search after a change of the table, or after a signal was
/// built, destroyed or re-initialised.
///
/// It owns neither keys nor signals. Clients may look into it and change an entry's list freely; whoever
/// changes a frame hash that is filed calls `cInit` of its signal. As in a FrameTable, an entry of which a
/// client was handed a list that it can change is *open* from then on, and the destructor of every signal
/// looks into it. Not locked.
class EthernetFrameTable {
    using Map = std::map<EthernetFrameHash*, std::vector<EthernetSignal*>>;

  public:
    using key_type = Map::key_type;
    using mapped_type = Map::mapped_type;
    using value_type = Map::value_type;
    using size_type = Map::size_type;
    using const_iterator = Map::const_iterator;
    /// Opens every entry that it is dereferenced at.
    using iterator = OpeningIterator<EthernetFrameTable, Map::iterator>;

    /// `changes` counts the changes after which the index is made anew. It must outlive the table.
    explicit EthernetFrameTable(ChangeCounter& changes = ChangeCounter::classWide())
        : changeCounter(&changes) {}
    EthernetFrameTable(const EthernetFrameTable&) = delete;
    EthernetFrameTable& operator=(const EthernetFrameTable&) = delete;

    // --- the map ---

    iterator begin() { return {this, bound.begin()}; }
    iterator end() { return {this, bound.end()}; }
    const_iterator begin() const { return bound.begin(); }
    const_iterator end() const { return bound.end(); }
    const_iterator cbegin() const { return bound.cbegin(); }
    const_iterator cend() const { return bound.cend(); }
    bool empty() const { return bound.empty(); }
    size_type size() const { return bound.size(); }
    iterator find(key_type key) { return {this, bound.find(key)}; }
    const_iterator find(key_type key) const { return bound.find(key); }
    bool contains(key_type key) const { return bound.contains(key); }
    size_type count(key_type key) const { return bound.count(key); }
    mapped_type& at(key_type key) {
        mapped_type& list = bound.at(key);
        openKeys.insert(key);
        return list;
    }
    const mapped_type& at(key_type key) const { return bound.at(key); }
    mapped_type& operator[](key_type key) { return try_emplace(key).first->second; }

    std::pair<iterator, bool> insert(const value_type& entry) { return entered(bound.insert(entry)); }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return entered(bound.emplace(std::forward<Args>(args)...));
    }
    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        return entered(bound.try_emplace(key, std::forward<Args>(args)...));
    }
    iterator erase(const_iterator position) {
        changeCounter->count();
        openKeys.erase(position->first);
        return {this, bound.erase(position)};
    }
    iterator erase(iterator position) { return erase(const_iterator(position)); }
    size_type erase(key_type key) {
        changeCounter->count();
        openKeys.erase(key);
        return bound.erase(key);
    }
    void clear() {
        changeCounter->count();
        bound.clear();
        openKeys.clear();
    }

    // --- for the library's own signals and the decoder: none of these opens an entry ---

    /// Appends `signal` to the list of `key`.
    void file(key_type key, EthernetSignal* signal) {
        changeCounter->count();
        bound[key].push_back(signal);
    }
    /// Removes every occurrence of `signal` from every open entry, and the entries whose list is empty then.
    void unfileByHand(const EthernetSignal* signal);

    /// Appends to `signals` those of every entry whose frame hash matches the frame, in order of the entries.
    /// \return whether there is such an entry
    bool appendMatching(const miiFrameInfo_t& frame, std::uint8_t channel,
                        std::vector<EthernetSignal*>& signals);

  private:
    /// The fields that are not left open, a bit each; the channel never is.
    using Shape = unsigned;

    struct Indexed {
        std::uint32_t hash;
        std::uint32_t entry; ///< in `entries`

        friend bool operator<(const Indexed& left, const Indexed& right) {
            return left.hash != right.hash ? left.hash < right.hash : left.entry < right.entry;
        }
    };

    static Shape shapeOf(const EthernetFrameHash& frame);
    static miiFrameInfo_t masked(const miiFrameInfo_t& frame, Shape shape);

    friend iterator;
    void open(Map::iterator position) { openKeys.insert(position->first); }
    /// After an insertion by a client, who thereby gets the list: opens the entry.
    std::pair<iterator, bool> entered(std::pair<Map::iterator, bool> inserted) {
        changeCounter->count();
        open(inserted.first);
        return {iterator(this, inserted.first), inserted.second};
    }
    void makeIndex();

    Map bound;
    std::set<key_type> openKeys;
    ChangeCounter* changeCounter;
    std::vector<const value_type*> entries;       // in order
    std::map<Shape, std::vector<Indexed>> groups; // each ordered by hash
    std::vector<std::uint32_t> matching;          // of one search
    std::uint64_t generation = 0;                 // never current
};

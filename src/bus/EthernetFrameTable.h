/// \file
/// The table of the kinds of Ethernet frames that signals are bound to.
#pragma once

#include "bus/EthernetFrameHash.h"
#include "signal/ChangeCounter.h"

#include <cstddef>
#include <cstdint>
#include <map>
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
/// It owns neither keys nor signals. Clients may look into it and change an entry's vector freely; whoever
/// changes a frame hash that is filed calls `cInit` of its signal. Not locked.
class EthernetFrameTable : private std::map<EthernetFrameHash*, std::vector<EthernetSignal*>> {
    using Map = std::map<EthernetFrameHash*, std::vector<EthernetSignal*>>;

  public:
    using Map::const_iterator;
    using Map::iterator;
    using Map::key_type;
    using Map::mapped_type;
    using Map::size_type;
    using Map::value_type;

    using Map::at;
    using Map::begin;
    using Map::cbegin;
    using Map::cend;
    using Map::contains;
    using Map::count;
    using Map::empty;
    using Map::end;
    using Map::find;
    using Map::size;

    /// `changes` counts the changes after which the index is made anew. It must outlive the table.
    explicit EthernetFrameTable(ChangeCounter& changes = ChangeCounter::classWide())
        : changeCounter(&changes) {}
    EthernetFrameTable(const EthernetFrameTable&) = delete;
    EthernetFrameTable& operator=(const EthernetFrameTable&) = delete;

    mapped_type& operator[](key_type key) { return changed().Map::operator[](key); }
    std::pair<iterator, bool> insert(const value_type& entry) { return changed().Map::insert(entry); }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return changed().Map::emplace(std::forward<Args>(args)...);
    }
    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        return changed().Map::try_emplace(key, std::forward<Args>(args)...);
    }
    template <class KeyOrIterator>
    auto erase(KeyOrIterator which) {
        return changed().Map::erase(which);
    }
    void clear() { changed().Map::clear(); }

    /// Appends to `signals` those of every entry whose frame hash matches the frame, in order of the entries.
    /// For the decoder. \return whether there is such an entry
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

    EthernetFrameTable& changed() {
        changeCounter->count();
        return *this;
    }
    void makeIndex();

    ChangeCounter* changeCounter;
    std::vector<const value_type*> entries;       // in order
    std::map<Shape, std::vector<Indexed>> groups; // each ordered by hash
    std::vector<std::uint32_t> matching;          // of one search
    std::uint64_t generation = 0;                 // never current
};

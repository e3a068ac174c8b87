/// \file
/// The table in which a decoder finds the signals of a frame.
#pragma once

#include "signal/FrameProgram.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

/// A `std::map` from frame key to the frame's signals, in its order and with its interface, that finds in
/// constant time: a hash index stands beside the map. It does not own the signals.
///
/// Clients may look into it and place signals in it; an entry's vector may be changed freely. Not locked:
/// changed only while nothing decodes. Insertion and erasure cost what they cost in the map; `find`, `at`,
/// `count`, `contains` and `operator[]` on a present key a few nanoseconds. Iterators and references stay
/// valid as in a `std::map`.
template <class Signal>
class FrameTable {
    using Map = std::map<std::uint64_t, std::vector<Signal*>>;

  public:
    using key_type = typename Map::key_type;
    using mapped_type = typename Map::mapped_type;
    using value_type = typename Map::value_type;
    using size_type = typename Map::size_type;
    using iterator = typename Map::iterator;
    using const_iterator = typename Map::const_iterator;

    /// An entry of the index: a frame's signals and their compiled form.
    struct alignas(64) Frame {
        std::uint64_t key = 0;
        mapped_type* signals = nullptr; ///< null: the entry is free
        iterator position;
        FrameProgram program;
    };

    FrameTable() = default;
    FrameTable(const FrameTable&) = delete;
    FrameTable& operator=(const FrameTable&) = delete;

    iterator begin() { return frames.begin(); }
    iterator end() { return frames.end(); }
    const_iterator begin() const { return frames.begin(); }
    const_iterator end() const { return frames.end(); }
    const_iterator cbegin() const { return frames.cbegin(); }
    const_iterator cend() const { return frames.cend(); }
    bool empty() const { return frames.empty(); }
    size_type size() const { return frames.size(); }

    iterator find(key_type key) {
        Frame* const frame = lookup(key);
        return frame != nullptr ? frame->position : frames.end();
    }
    const_iterator find(key_type key) const { return const_cast<FrameTable*>(this)->find(key); }
    bool contains(key_type key) const { return find(key) != end(); }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }

    mapped_type& at(key_type key) {
        Frame* const frame = lookup(key);
        if (frame == nullptr) {
            throw std::out_of_range("FrameTable::at");
        }
        return *frame->signals;
    }
    const mapped_type& at(key_type key) const { return const_cast<FrameTable*>(this)->at(key); }
    mapped_type& operator[](key_type key) { return try_emplace(key).first->second; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        return indexed(frames.try_emplace(key, std::forward<Args>(args)...));
    }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return indexed(frames.emplace(std::forward<Args>(args)...));
    }
    std::pair<iterator, bool> insert(const value_type& entry) { return indexed(frames.insert(entry)); }
    std::pair<iterator, bool> insert(value_type&& entry) { return indexed(frames.insert(std::move(entry))); }

    iterator erase(const_iterator position) {
        unindex(position->first);
        return frames.erase(position);
    }
    iterator erase(iterator position) { return erase(const_iterator(position)); }
    size_type erase(key_type key) {
        const iterator position = find(key);
        if (position == end()) {
            return 0;
        }
        erase(position);
        return 1;
    }
    void clear() {
        frames.clear();
        index.clear();
        shift = 64;
    }

    /// The frame filed under `key`, or null. The pointer is good until the table changes.
    Frame* lookup(key_type key) {
        if (index.empty()) {
            return nullptr;
        }
        for (std::size_t place = home(key);; place = next(place)) {
            Frame& frame = index[place];
            if (frame.signals == nullptr) {
                return nullptr;
            }
            if (frame.key == key) {
                return &frame;
            }
        }
    }

  private:
    /// Fibonacci hashing: the top bits of the key times 2^64 over the golden ratio.
    std::size_t home(key_type key) const { return (key * 0x9E3779B97F4A7C15) >> shift; }
    std::size_t next(std::size_t place) const { return (place + 1) & (index.size() - 1); }

    std::pair<iterator, bool> indexed(std::pair<iterator, bool> inserted) {
        if (inserted.second) {
            if (2 * frames.size() > index.size()) {
                grow();
            } else {
                enter(inserted.first);
            }
        }
        return inserted;
    }

    void enter(iterator position) {
        std::size_t place = home(position->first);
        while (index[place].signals != nullptr) {
            place = next(place);
        }
        index[place] = {position->first, &position->second, position, {}};
    }

    /// Doubles the index, which thus stays at most half full, and enters every frame again.
    void grow() {
        const std::size_t size = index.empty() ? 16 : 2 * index.size();
        index.clear();
        index.resize(size);
        shift = 64;
        for (std::size_t n = size; n > 1; n /= 2) {
            --shift;
        }
        for (iterator position = frames.begin(); position != frames.end(); ++position) {
            enter(position);
        }
    }

    /// Frees the entry of `key` and moves the later ones of its run up, so that no search stops short.
    void unindex(key_type key) {
        std::size_t hole = home(key);
        while (index[hole].key != key || index[hole].signals == nullptr) {
            hole = next(hole);
        }
        for (std::size_t place = next(hole); index[place].signals != nullptr; place = next(place)) {
            const std::size_t fromHome = (place - home(index[place].key)) & (index.size() - 1);
            const std::size_t fromHole = (place - hole) & (index.size() - 1);
            if (fromHome >= fromHole) {
                index[hole] = std::move(index[place]);
                hole = place;
            }
        }
        index[hole] = Frame{};
    }

    Map frames;
    std::vector<Frame> index; // a power of two, open addressing
    int shift = 64;
};

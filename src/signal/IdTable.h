/// \file
/// The table in which a storage finds what belongs to an identifier.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

/// A table ordered by identifier, with the interface of a `std::map`, that takes little more than its
/// entries: they lie in order in blocks, and a small map finds the block. Identifiers that grow from entry to
/// entry, as those of signals do, fill the blocks.
///
/// Unlike those of a `std::map`, iterators and references to entries are good only until the table changes,
/// and the key of an entry can be assigned to, which must not be done. Not locked. Finding, inserting and
/// erasing cost a search and moving at most a block.
template <class Value>
class IdTable {
    using Block = std::vector<std::pair<std::uint64_t, Value>>; // never empty
    using Blocks = std::map<std::uint64_t, Block>; // by an identifier not above the first one of the block

    /// An entry by its block and its place there; the end is place 0 of the block behind the last.
    template <bool isConst>
    class Iterator {
        using BlockIterator =
            std::conditional_t<isConst, typename Blocks::const_iterator, typename Blocks::iterator>;

      public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = typename Block::value_type;
        using difference_type = std::ptrdiff_t;
        using reference = std::conditional_t<isConst, const value_type&, value_type&>;
        using pointer = std::remove_reference_t<reference>*;

        Iterator() = default;
        reference operator*() const { return block->second[place]; }
        pointer operator->() const { return &**this; }
        Iterator& operator++() {
            if (++place == block->second.size()) {
                ++block;
                place = 0;
            }
            return *this;
        }
        Iterator& operator--() {
            if (place == 0) {
                --block;
                place = block->second.size();
            }
            --place;
            return *this;
        }
        Iterator operator++(int) { return std::exchange(*this, std::next(*this)); }
        Iterator operator--(int) { return std::exchange(*this, std::prev(*this)); }
        operator Iterator<true>() const { return {block, place}; }
        friend bool operator==(const Iterator& left, const Iterator& right) {
            return left.block == right.block && left.place == right.place;
        }

      private:
        friend class IdTable;
        template <bool>
        friend class Iterator;
        Iterator(BlockIterator block, std::size_t place) : block(block), place(place) {}

        BlockIterator block;
        std::size_t place = 0;
    };

  public:
    using key_type = std::uint64_t;
    using mapped_type = Value;
    using value_type = typename Block::value_type;
    using size_type = std::size_t;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    iterator begin() { return {blocks.begin(), 0}; }
    iterator end() { return {blocks.end(), 0}; }
    const_iterator begin() const { return {blocks.begin(), 0}; }
    const_iterator end() const { return {blocks.end(), 0}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    auto rbegin() { return std::reverse_iterator(end()); }
    auto rend() { return std::reverse_iterator(begin()); }
    auto rbegin() const { return std::reverse_iterator(end()); }
    auto rend() const { return std::reverse_iterator(begin()); }
    bool empty() const { return entries == 0; }
    size_type size() const { return entries; }

    iterator find(key_type key) { return search<iterator>(*this, key); }
    const_iterator find(key_type key) const { return search<const_iterator>(*this, key); }
    bool contains(key_type key) const { return find(key) != end(); }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }
    mapped_type& at(key_type key) { return existing(find(key), end())->second; }
    const mapped_type& at(key_type key) const { return existing(find(key), end())->second; }
    mapped_type& operator[](key_type key) { return try_emplace(key).first->second; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        if (const iterator present = find(key); present != end()) {
            return {present, false};
        }
        const iterator position = makeRoom(key);
        Block& block = position.block->second;
        block.emplace(block.begin() + static_cast<std::ptrdiff_t>(position.place), std::piecewise_construct,
                      std::tuple(key), std::forward_as_tuple(std::forward<Args>(args)...));
        ++entries;
        return {position, true};
    }
    std::pair<iterator, bool> insert(value_type entry) {
        return try_emplace(entry.first, std::move(entry.second));
    }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return insert(value_type(std::forward<Args>(args)...));
    }

    iterator erase(const_iterator position) {
        const auto block = blocks.erase(position.block, position.block); // the same, and not const
        block->second.erase(block->second.begin() + static_cast<std::ptrdiff_t>(position.place));
        --entries;
        if (block->second.empty()) {
            return {blocks.erase(block), 0};
        }
        return position.place < block->second.size() ? iterator(block, position.place)
                                                     : iterator(std::next(block), 0);
    }
    size_type erase(key_type key) {
        const const_iterator position = std::as_const(*this).find(key);
        if (position == cend()) {
            return 0;
        }
        erase(position);
        return 1;
    }
    void clear() {
        blocks.clear();
        entries = 0;
    }

  private:
    static constexpr std::size_t blockSize = 64;

    /// The block in which `key` belongs, or the end if it comes before all of them.
    template <class AnyBlocks>
    static auto blockOf(AnyBlocks& blocks, key_type key) {
        const auto behind = blocks.upper_bound(key);
        return behind != blocks.begin() ? std::prev(behind) : blocks.end();
    }
    /// The place in `block` where `key` is or belongs.
    static std::size_t placeOf(const Block& block, key_type key) {
        const auto isBelow = [](const value_type& entry, key_type wanted) { return entry.first < wanted; };
        return static_cast<std::size_t>(std::lower_bound(block.begin(), block.end(), key, isBelow) -
                                        block.begin());
    }
    template <class Found, class Table>
    static Found search(Table& table, key_type key) {
        const auto block = blockOf(table.blocks, key);
        if (block != table.blocks.end()) {
            const std::size_t place = placeOf(block->second, key);
            if (place < block->second.size() && block->second[place].first == key) {
                return {block, place};
            }
        }
        return table.end();
    }
    template <class Found>
    static Found existing(Found found, Found end) {
        if (found == end) {
            throw std::out_of_range("IdTable::at");
        }
        return found;
    }

    /// A place for the absent `key` in a block that has room.
    iterator makeRoom(key_type key) {
        auto block = blockOf(blocks, key);
        if (block != blocks.end() && block->second.size() == blockSize && key < block->second.back().first) {
            split(block->second);
            block = blockOf(blocks, key);
        }
        if (block == blocks.end() || block->second.size() == blockSize) {
            block = startBlock(key);
        }
        return {block, placeOf(block->second, key)};
    }
    /// Moves the upper half to a block of its own.
    void split(Block& lower) {
        const auto middle = lower.begin() + blockSize / 2;
        Block& upper = startBlock(middle->first)->second;
        std::move(middle, lower.end(), std::back_inserter(upper));
        lower.erase(middle, lower.end());
    }
    typename Blocks::iterator startBlock(key_type first) {
        const auto block = blocks.try_emplace(first).first;
        block->second.reserve(blockSize);
        return block;
    }

    Blocks blocks;
    std::size_t entries = 0;
};

/// \file
/// The table in which a storage finds what belongs to an identifier.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

/// A table ordered by identifier, with the interface of a `std::map`, that takes little more than its values.
/// 256 identifiers make a page, which holds the values that there are in order, and a bit for each
/// identifier: the number of bits below that of an identifier is the place of its value. A small map finds
/// the page. The identifiers of signals are running numbers and so fill pages.
///
/// Unlike those of a `std::map`, iterators and references to values are good only until the table changes,
/// and dereferencing an iterator gives a pair of the key and a reference to the value, not a reference to a
/// pair. Not locked. Finding costs the same as in a map of the pages; inserting and erasing besides a move of
/// at most 255 values.
template <class Value>
class IdTable {
    /// A bit for each identifier of a page, by its number there.
    class Presence {
      public:
        bool has(std::uint64_t number) const { return (words[number / 64] & bitOf(number)) != 0; }
        void add(std::uint64_t number) { words[number / 64] |= bitOf(number); }
        void remove(std::uint64_t number) { words[number / 64] &= ~bitOf(number); }
        /// How many are there before `number`.
        std::size_t countBefore(std::uint64_t number) const {
            int count = std::popcount(words[number / 64] & (bitOf(number) - 1));
            for (std::uint64_t word = 0; word != number / 64; ++word) {
                count += std::popcount(words[word]);
            }
            return static_cast<std::size_t>(count);
        }
        /// The number before which there are `count`. REQUIRES: there are more.
        std::uint64_t numberAt(std::size_t count) const {
            std::uint64_t word = 0;
            for (; count >= static_cast<std::size_t>(std::popcount(words[word])); ++word) {
                count -= static_cast<std::size_t>(std::popcount(words[word]));
            }
            std::uint64_t left = words[word];
            for (; count != 0; --count) {
                left &= left - 1;
            }
            return 64 * word + static_cast<std::uint64_t>(std::countr_zero(left));
        }

      private:
        static std::uint64_t bitOf(std::uint64_t number) { return std::uint64_t{1} << number % 64; }

        std::array<std::uint64_t, 4> words{};
    };

    struct Page {
        Presence present{};
        std::vector<Value> values{}; // never empty
    };
    static constexpr std::uint64_t pageSize = 256;
    using Pages = std::map<std::uint64_t, Page>; // by identifier / pageSize

    /// An entry by its page and its place there; the end is place 0 of the page behind the last.
    template <bool isConst>
    class Iterator {
        using PageIterator =
            std::conditional_t<isConst, typename Pages::const_iterator, typename Pages::iterator>;

      public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = std::pair<std::uint64_t, Value>;
        using difference_type = std::ptrdiff_t;
        using reference = std::pair<const std::uint64_t, std::conditional_t<isConst, const Value&, Value&>>;
        /// Keeps the pair for as long as `->` needs it.
        struct pointer {
            reference entry;
            reference* operator->() { return &entry; }
        };

        Iterator() = default;
        reference operator*() const {
            return {pageSize * page->first + page->second.present.numberAt(place),
                    page->second.values[place]};
        }
        pointer operator->() const { return {**this}; }
        Iterator& operator++() {
            if (++place == page->second.values.size()) {
                ++page;
                place = 0;
            }
            return *this;
        }
        Iterator& operator--() {
            if (place == 0) {
                --page;
                place = page->second.values.size();
            }
            --place;
            return *this;
        }
        Iterator operator++(int) { return std::exchange(*this, std::next(*this)); }
        Iterator operator--(int) { return std::exchange(*this, std::prev(*this)); }
        operator Iterator<true>() const { return {page, place}; }
        friend bool operator==(const Iterator& left, const Iterator& right) {
            return left.page == right.page && left.place == right.place;
        }

      private:
        friend class IdTable;
        template <bool>
        friend class Iterator;
        Iterator(PageIterator page, std::size_t place) : page(page), place(place) {}

        PageIterator page;
        std::size_t place = 0;
    };

  public:
    using key_type = std::uint64_t;
    using mapped_type = Value;
    using value_type = std::pair<std::uint64_t, Value>;
    using size_type = std::size_t;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    iterator begin() { return {pages.begin(), 0}; }
    iterator end() { return {pages.end(), 0}; }
    const_iterator begin() const { return {pages.begin(), 0}; }
    const_iterator end() const { return {pages.end(), 0}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    auto rbegin() { return std::reverse_iterator(end()); }
    auto rend() { return std::reverse_iterator(begin()); }
    auto rbegin() const { return std::reverse_iterator(end()); }
    auto rend() const { return std::reverse_iterator(begin()); }
    bool empty() const { return entryCount == 0; }
    size_type size() const { return entryCount; }

    iterator find(key_type key) { return search<iterator>(*this, key); }
    const_iterator find(key_type key) const { return search<const_iterator>(*this, key); }
    bool contains(key_type key) const { return find(key) != end(); }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }
    mapped_type& at(key_type key) { return (*existing(find(key), end())).second; }
    const mapped_type& at(key_type key) const { return (*existing(find(key), end())).second; }
    mapped_type& operator[](key_type key) { return (*try_emplace(key).first).second; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        const auto page = pages.try_emplace(key / pageSize).first;
        Presence& present = page->second.present;
        const iterator position(page, present.countBefore(key % pageSize));
        const bool isNew = !present.has(key % pageSize);
        if (isNew) {
            auto& values = page->second.values;
            values.emplace(values.begin() + static_cast<std::ptrdiff_t>(position.place),
                           std::forward<Args>(args)...);
            present.add(key % pageSize);
            ++entryCount;
        }
        return {position, isNew};
    }
    std::pair<iterator, bool> insert(value_type entry) {
        return try_emplace(entry.first, std::move(entry.second));
    }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return insert(value_type(std::forward<Args>(args)...));
    }

    iterator erase(const_iterator position) { return eraseAt(position, position->first); }
    iterator erase(iterator position) { return erase(const_iterator(position)); }
    size_type erase(key_type key) {
        const const_iterator position = std::as_const(*this).find(key);
        if (position == cend()) {
            return 0;
        }
        eraseAt(position, key);
        return 1;
    }
    void clear() {
        pages.clear();
        entryCount = 0;
    }

  private:
    iterator eraseAt(const_iterator position, key_type key) {
        const auto page = pages.erase(position.page, position.page); // the same, and not const
        auto& values = page->second.values;
        page->second.present.remove(key % pageSize);
        values.erase(values.begin() + static_cast<std::ptrdiff_t>(position.place));
        --entryCount;
        if (values.empty()) {
            return {pages.erase(page), 0};
        }
        return position.place < values.size() ? iterator(page, position.place) : iterator(std::next(page), 0);
    }

    template <class Found, class Table>
    static Found search(Table& table, key_type key) {
        const auto page = table.pages.find(key / pageSize);
        if (page == table.pages.end() || !page->second.present.has(key % pageSize)) {
            return table.end();
        }
        return Found(page, page->second.present.countBefore(key % pageSize));
    }
    template <class Found>
    static Found existing(Found found, Found end) {
        if (found == end) {
            throw std::out_of_range("IdTable::at");
        }
        return found;
    }

    Pages pages;
    std::size_t entryCount = 0;
};

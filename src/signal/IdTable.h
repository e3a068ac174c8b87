/// \file
/// The table in which a storage finds what belongs to an identifier.
#pragma once

#include <bit>
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
/// entries. 64 identifiers make a page, which holds the entries that there are in order, and a bit for each
/// identifier: the number of bits below that of an identifier is the place of its entry. A small map finds
/// the page. The identifiers of signals are running numbers and so fill pages.
///
/// Unlike those of a `std::map`, iterators and references to entries are good only until the table changes,
/// and the key of an entry can be assigned to, which must not be done. Not locked. Finding costs the same as
/// in a map of the pages; inserting and erasing besides a move of at most 63 entries.
template <class Value>
class IdTable {
    struct Page {
        std::uint64_t present = 0;                              // a bit for each identifier
        std::vector<std::pair<std::uint64_t, Value>> entries{}; // never empty
    };
    using Pages = std::map<std::uint64_t, Page>; // by identifier / 64

    /// An entry by its page and its place there; the end is place 0 of the page behind the last.
    template <bool isConst>
    class Iterator {
        using PageIterator =
            std::conditional_t<isConst, typename Pages::const_iterator, typename Pages::iterator>;

      public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = std::pair<std::uint64_t, Value>;
        using difference_type = std::ptrdiff_t;
        using reference = std::conditional_t<isConst, const value_type&, value_type&>;
        using pointer = std::remove_reference_t<reference>*;

        Iterator() = default;
        reference operator*() const { return page->second.entries[place]; }
        pointer operator->() const { return &**this; }
        Iterator& operator++() {
            if (++place == page->second.entries.size()) {
                ++page;
                place = 0;
            }
            return *this;
        }
        Iterator& operator--() {
            if (place == 0) {
                --page;
                place = page->second.entries.size();
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
    mapped_type& at(key_type key) { return existing(find(key), end())->second; }
    const mapped_type& at(key_type key) const { return existing(find(key), end())->second; }
    mapped_type& operator[](key_type key) { return try_emplace(key).first->second; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        const auto page = pages.try_emplace(key / pageSize).first;
        const iterator position(page, placeOf(page->second, key));
        const bool isNew = !holds(page->second, key);
        if (isNew) {
            auto& entries = page->second.entries;
            entries.emplace(entries.begin() + static_cast<std::ptrdiff_t>(position.place),
                            std::piecewise_construct, std::tuple(key),
                            std::forward_as_tuple(std::forward<Args>(args)...));
            page->second.present |= bitOf(key);
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

    iterator erase(const_iterator position) {
        const auto page = pages.erase(position.page, position.page); // the same, and not const
        auto& entries = page->second.entries;
        page->second.present &= ~bitOf(position->first);
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(position.place));
        --entryCount;
        if (entries.empty()) {
            return {pages.erase(page), 0};
        }
        return position.place < entries.size() ? iterator(page, position.place)
                                               : iterator(std::next(page), 0);
    }
    iterator erase(iterator position) { return erase(const_iterator(position)); }
    size_type erase(key_type key) {
        const const_iterator position = std::as_const(*this).find(key);
        if (position == cend()) {
            return 0;
        }
        erase(position);
        return 1;
    }
    void clear() {
        pages.clear();
        entryCount = 0;
    }

  private:
    static constexpr key_type pageSize = 64;

    static key_type bitOf(key_type key) { return key_type{1} << key % pageSize; }
    static bool holds(const Page& page, key_type key) { return (page.present & bitOf(key)) != 0; }
    /// The place in `page` where `key` is or belongs.
    static std::size_t placeOf(const Page& page, key_type key) {
        return static_cast<std::size_t>(std::popcount(page.present & (bitOf(key) - 1)));
    }

    template <class Found, class Table>
    static Found search(Table& table, key_type key) {
        const auto page = table.pages.find(key / pageSize);
        return page != table.pages.end() && holds(page->second, key) ? Found(page, placeOf(page->second, key))
                                                                     : table.end();
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

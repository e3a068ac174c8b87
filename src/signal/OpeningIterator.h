/// \file
/// The iterator by which clients change the lists of a table.
#pragma once

#include <iterator>

/// An iterator of the ordered map inside `Table` that tells the table by `open(position)` at which entries it
/// is dereferenced, since whoever does so can change the entry, now or later.
template <class Table, class Position>
class OpeningIterator {
  public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = typename std::iterator_traits<Position>::value_type;
    using difference_type = typename std::iterator_traits<Position>::difference_type;
    using pointer = value_type*;
    using reference = value_type&;

    OpeningIterator() = default;
    reference operator*() const {
        table->open(position);
        return *position;
    }
    pointer operator->() const { return &**this; }
    OpeningIterator& operator++() {
        ++position;
        return *this;
    }
    OpeningIterator& operator--() {
        --position;
        return *this;
    }
    OpeningIterator operator++(int) { return {table, position++}; }
    OpeningIterator operator--(int) { return {table, position--}; }
    operator typename Table::const_iterator() const { return position; }
    friend bool operator==(const OpeningIterator& left, const OpeningIterator& right) {
        return left.position == right.position;
    }

  private:
    friend Table;
    OpeningIterator(Table* table, Position position) : table(table), position(position) {}

    Table* table = nullptr;
    Position position;
};

/// \file
/// The signals that belong to one identifier: nearly always one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

/// A list with the interface of a `std::vector<Signal*>` that takes one pointer as long as it holds at most
/// one signal; more lie in a vector of its own. It does not own the signals. Null is no signal.
template <class Signal>
class SignalList {
    using Vector = std::vector<Signal*>;

  public:
    using value_type = Signal*;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = Signal*&;
    using const_reference = Signal* const&;
    using iterator = Signal**;
    using const_iterator = Signal* const*;

    SignalList() = default;
    SignalList(std::initializer_list<Signal*> signals) {
        for (Signal* const signal : signals) {
            push_back(signal);
        }
    }
    SignalList(const SignalList& other)
        : only(other.isVector() ? marked(new Vector(other.vector())) : other.only) {}
    SignalList(SignalList&& other) noexcept : only(std::exchange(other.only, nullptr)) {}
    SignalList& operator=(SignalList other) noexcept {
        std::swap(only, other.only);
        return *this;
    }
    ~SignalList() { clear(); }

    iterator begin() { return isVector() ? vector().data() : &only; }
    iterator end() { return begin() + size(); }
    const_iterator begin() const { return isVector() ? vector().data() : &only; }
    const_iterator end() const { return begin() + size(); }
    size_type size() const { return isVector() ? vector().size() : only != nullptr ? 1 : 0; }
    bool empty() const { return size() == 0; }
    reference operator[](size_type place) { return begin()[place]; }
    const_reference operator[](size_type place) const { return begin()[place]; }
    reference front() { return *begin(); }
    const_reference front() const { return *begin(); }
    reference back() { return end()[-1]; }
    const_reference back() const { return end()[-1]; }

    void push_back(Signal* signal) {
        if (isVector()) {
            vector().push_back(signal);
        } else if (only == nullptr) {
            only = signal;
        } else {
            only = marked(new Vector{only, signal});
        }
    }
    void pop_back() { erase(end() - 1); }
    iterator erase(const_iterator position) {
        if (!isVector()) {
            only = nullptr;
            return &only;
        }
        const std::ptrdiff_t place = position - begin();
        vector().erase(vector().begin() + place);
        return begin() + place;
    }
    void clear() {
        if (isVector()) {
            delete &vector();
        }
        only = nullptr;
    }

    friend bool operator==(const SignalList& left, const SignalList& right) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end());
    }

  private:
    // Signals and vectors lie at even addresses: an odd one is that of a vector, and 1.
    static Signal* marked(Vector* vector) {
        return reinterpret_cast<Signal*>(reinterpret_cast<std::uintptr_t>(vector) + 1);
    }
    bool isVector() const { return reinterpret_cast<std::uintptr_t>(only) % 2 != 0; }
    Vector& vector() const { return *reinterpret_cast<Vector*>(reinterpret_cast<std::uintptr_t>(only) - 1); }

    Signal* only = nullptr;
};

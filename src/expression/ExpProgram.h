/// \file
/// The steps of an expression.
#pragma once

#include "signal/BaseSignal.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class ExpParser;

/// Operand of one step.
struct value_t {
    union {
        double constant = 0.0;
        BaseSignal* signal;
    };
    std::string name; ///< of the signal; empty exactly when the step reads none
};

/// The steps of an expression in postfix order, to be used as the `std::vector<Step>` that it converts to.
///
/// That vector is made when somebody looks at a step, and kept from then on. Until then the steps lie packed
/// in an eighth of its memory: most expressions are evaluated and never looked at. Like its expression for
/// one thread at a time, also where it is only looked at.
class RKSIGNAL_EXPORT ExpProgram {
  public:
    using Operation = void (ExpParser::*)();
    using Step = std::pair<Operation, value_t>;
    using Steps = std::vector<Step>;

    using value_type = Step;
    using size_type = Steps::size_type;
    using difference_type = Steps::difference_type;
    using reference = Steps::reference;
    using const_reference = Steps::const_reference;
    using iterator = Steps::iterator;
    using const_iterator = Steps::const_iterator;
    using reverse_iterator = Steps::reverse_iterator;
    using const_reverse_iterator = Steps::const_reverse_iterator;

    ExpProgram() = default;
    ExpProgram& operator=(const Steps& other) {
        steps() = other;
        return *this;
    }
    ExpProgram& operator=(std::initializer_list<Step> other) {
        steps() = other;
        return *this;
    }

    /// The steps as a vector of their own, without keeping it here.
    Steps copy() const;

    // --- looking at the number of steps ---

    size_type size() const { return isUnpacked ? unpacked.size() : count; }
    bool empty() const { return size() == 0; }

    // --- the vector ---

    operator Steps&() { return steps(); }
    operator const Steps&() const { return steps(); }

    iterator begin() { return steps().begin(); }
    iterator end() { return steps().end(); }
    const_iterator begin() const { return steps().begin(); }
    const_iterator end() const { return steps().end(); }
    const_iterator cbegin() const { return steps().cbegin(); }
    const_iterator cend() const { return steps().cend(); }
    reverse_iterator rbegin() { return steps().rbegin(); }
    reverse_iterator rend() { return steps().rend(); }
    const_reverse_iterator rbegin() const { return steps().rbegin(); }
    const_reverse_iterator rend() const { return steps().rend(); }

    reference operator[](size_type index) { return steps()[index]; }
    const_reference operator[](size_type index) const { return steps()[index]; }
    reference at(size_type index) { return steps().at(index); }
    const_reference at(size_type index) const { return steps().at(index); }
    reference front() { return steps().front(); }
    const_reference front() const { return steps().front(); }
    reference back() { return steps().back(); }
    const_reference back() const { return steps().back(); }
    Step* data() { return steps().data(); }
    const Step* data() const { return steps().data(); }

    size_type capacity() const { return steps().capacity(); }
    void reserve(size_type room) { steps().reserve(room); }
    void shrink_to_fit() { steps().shrink_to_fit(); }
    void resize(size_type size) { steps().resize(size); }
    void clear() { steps().clear(); }
    void pop_back() { steps().pop_back(); }
    void push_back(const Step& step) { steps().push_back(step); }
    void push_back(Step&& step) { steps().push_back(std::move(step)); }
    template <class... Arguments>
    reference emplace_back(Arguments&&... arguments) {
        return steps().emplace_back(std::forward<Arguments>(arguments)...);
    }
    template <class... Arguments>
    iterator insert(const_iterator before, Arguments&&... arguments) {
        return steps().insert(before, std::forward<Arguments>(arguments)...);
    }
    iterator insert(const_iterator before, const Step& step) { return steps().insert(before, step); }
    template <class... Iterators>
    iterator erase(Iterators... iterators) {
        return steps().erase(iterators...);
    }
    void swap(Steps& other) { steps().swap(other); }

  private:
    friend class ExpParser;
    friend class ExpMachine;

    /// One step on its way out of the packed form.
    struct PackedStep {
        Operation operation = nullptr;
        double constant = 0.0;
        BaseSignal* signal = nullptr; ///< null: it reads none
        std::string_view name;
    };
    class RKSIGNAL_HIDDEN Reader;

    /// Appends a step, packed if steps are and there is a code for its operation.
    RKSIGNAL_HIDDEN void append(const Step& step);
    RKSIGNAL_HIDDEN bool pack(const Step& step);
    /// Calls `visit` with each step, which is unpacked or not, as a PackedStep.
    template <class Visit>
    RKSIGNAL_HIDDEN void forEach(Visit&& visit) const;
    /// Gives back what was allocated in advance.
    RKSIGNAL_HIDDEN void complete() { packed.shrink_to_fit(); }
    /// Whether the steps are those that were appended: nobody can have changed them, or the vector has not
    /// grown, shrunk or moved since it was made.
    RKSIGNAL_HIDDEN bool isAsAppended() const {
        return !isUnpacked || (unpacked.data() == unpackedAt && unpacked.size() == count);
    }
    /// The vector. Makes it.
    Steps& steps() const {
        if (!isUnpacked) {
            unpack();
        }
        return unpacked;
    }
    void unpack() const;

    mutable std::vector<std::uint8_t> packed; ///< see pack()
    mutable Steps unpacked;
    mutable const Step* unpackedAt = nullptr; ///< where the vector was when it was made
    mutable std::uint32_t count = 0;          ///< of packed steps, or of those that were
    mutable bool isUnpacked = false;
};

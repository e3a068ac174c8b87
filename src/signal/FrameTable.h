/// \file
/// The table in which a decoder finds the signals of a frame.
#pragma once

#include "signal/ChangeCounter.h"
#include "signal/Export.h"
#include "signal/HashIndex.h"
#include "signal/OpeningIterator.h"
#include "signal/ProgramMemo.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

/// What the decoder has worked out about the signals of a frame. Only the decoder knows its form.
class FrameProgram;
struct FrameProgramDeleter {
    RKSIGNAL_EXPORT void operator()(FrameProgram* program) const;
};

/// What an entry of a table keeps of its program: known one load earlier, so that the processor, having
/// guessed the number of a frame's signals wrong, knows it sooner. Empty unless the signals are all private
/// and plain ones in the first word.
struct FrameBrief {
    std::uint16_t count = 0; ///< of the signals; 0: empty
    std::uint8_t end = 0;    ///< so many bytes of the frame must have been received
};

/// A `std::map` from frame key to the frame's signals, in its order and with its interface, that finds in
/// constant time: a hash index stands beside the map. It does not own the signals.
///
/// Clients may look into it and place signals in it; a list may be changed freely. An entry of which a client
/// was handed a list that it can change counts as *open* from then on, since the client may keep the
/// reference: `operator[]`, `at`, `insert`, `emplace`, `try_emplace` and dereferencing an `iterator` open an
/// entry for as long as it exists; look-ups through a constant table do not. The list of an entry that is not
/// open was changed by the library alone. An open entry costs the decoder a check a signal, and the
/// destructor of every signal a look into it.
///
/// Not locked: changed only while nothing decodes. Insertion and erasure cost what they cost in the map;
/// `find`, `at`, `count`, `contains` and `operator[]` on a present key a few nanoseconds. Iterators and
/// references stay valid as in a `std::map`.
template <class Signal>
class FrameTable {
    using Map = std::map<std::uint64_t, std::vector<Signal*>>;

  public:
    using key_type = typename Map::key_type;
    using mapped_type = typename Map::mapped_type;
    using value_type = typename Map::value_type;
    using size_type = typename Map::size_type;
    using const_iterator = typename Map::const_iterator;

    /// Opens every entry that it is dereferenced at.
    using iterator = OpeningIterator<FrameTable, typename Map::iterator>;

    /// An entry of the index: a frame, its signals and what the decoder has worked out about them. Half a
    /// cache line.
    class alignas(32) Frame {
      public:
        key_type key() const { return ownKey; }
        bool isFree() const { return state == State::Free; }
        const mapped_type& signals() const { return position->second; }
        bool isOpen() const { return state == State::Open; }

        /// Null: to be worked out.
        const FrameProgram* program() const { return ownProgram.get(); }
        FrameProgram* program() { return ownProgram.get(); }
        FrameBrief brief() const { return ownBrief; }
        /// Keeps what was worked out, in place of what there was.
        void keep(FrameProgram* program, FrameBrief brief) {
            ownProgram.reset(program);
            ownBrief = brief;
        }

        Frame() = default;

      private:
        friend class FrameTable;
        enum class State : std::uint8_t { Free, Closed, Open };

        explicit Frame(typename Map::iterator position)
            : ownKey(position->first), position(position), state(State::Closed) {}

        void forgetProgram() { keep(nullptr, {}); }

        std::unique_ptr<FrameProgram, FrameProgramDeleter> ownProgram;
        key_type ownKey = 0;
        typename Map::iterator position;
        State state = State::Free;
        FrameBrief ownBrief;
    };

    /// `changes` counts the changes after which programs are out of date. It must outlive the table.
    explicit FrameTable(ChangeCounter& changes = ChangeCounter::classWide()) : changeCounter(&changes) {}
    FrameTable(const FrameTable&) = delete;
    FrameTable& operator=(const FrameTable&) = delete;

    // --- the map ---

    iterator begin() { return {this, frames.begin()}; }
    iterator end() { return {this, frames.end()}; }
    const_iterator begin() const { return frames.begin(); }
    const_iterator end() const { return frames.end(); }
    const_iterator cbegin() const { return frames.cbegin(); }
    const_iterator cend() const { return frames.cend(); }
    bool empty() const { return frames.empty(); }
    size_type size() const { return frames.size(); }

    iterator find(key_type key) {
        const Frame* const frame = index.find(key);
        return {this, frame != nullptr ? frame->position : frames.end()};
    }
    const_iterator find(key_type key) const {
        const Frame* const frame = index.find(key);
        return frame != nullptr ? const_iterator(frame->position) : frames.end();
    }
    bool contains(key_type key) const { return index.find(key) != nullptr; }
    size_type count(key_type key) const { return contains(key) ? 1 : 0; }

    mapped_type& at(key_type key) {
        Frame& frame = existing(*this, key);
        open(frame);
        return frame.position->second;
    }
    const mapped_type& at(key_type key) const { return existing(*this, key).signals(); }
    mapped_type& operator[](key_type key) { return try_emplace(key).first->second; }

    template <class... Args>
    std::pair<iterator, bool> try_emplace(key_type key, Args&&... args) {
        return entered(frames.try_emplace(key, std::forward<Args>(args)...));
    }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return entered(frames.emplace(std::forward<Args>(args)...));
    }
    std::pair<iterator, bool> insert(const value_type& entry) { return entered(frames.insert(entry)); }
    std::pair<iterator, bool> insert(value_type&& entry) { return entered(frames.insert(std::move(entry))); }

    iterator erase(const_iterator position) {
        memo.clear();
        Frame* const frame = index.find(position->first);
        if (frame->isOpen()) {
            openKeys.erase(frame->ownKey);
        }
        index.erase(frame);
        return {this, frames.erase(position)};
    }
    iterator erase(iterator position) { return erase(const_iterator(position)); }
    size_type erase(key_type key) {
        const Frame* const frame = index.find(key);
        if (frame == nullptr) {
            return 0;
        }
        erase(const_iterator(frame->position));
        return 1;
    }
    void clear() {
        memo.clear();
        frames.clear();
        index.clear();
        openKeys.clear();
    }

    // --- for the library's own signals and decoders: none of these opens an entry ---

    /// Appends `signal` to the list of `key`.
    void file(key_type key, Signal* signal) {
        Frame* frame = index.find(key);
        if (frame == nullptr) {
            frame = &index.enter(Frame(frames.try_emplace(key).first));
        }
        mapped_type& list = frame->position->second;
        if (list.size() == list.capacity()) { // by half: most lists stay short, and there are many
            list.reserve(list.size() + list.size() / 2 + 1);
        }
        list.push_back(signal);
        frame->forgetProgram();
        memo.clear();
    }

    /// Files `signals` as the list of `key`, which must not exist. \return the entry
    Frame* fileAll(key_type key, mapped_type&& signals) {
        return &index.enter(Frame(frames.try_emplace(key, std::move(signals)).first));
    }

    /// Removes every occurrence of `signal` from the list of `key`, and the entry if its list is empty then.
    /// Costs a pass over that list.
    void unfile(key_type key, const Signal* signal) {
        if (Frame* const frame = index.find(key)) {
            removeFrom(*frame, signal);
        }
    }

    /// Does so in every open entry, in which clients may have placed the signal. Costs a pass over these.
    void unfileByHand(const Signal* signal) {
        for (auto key = openKeys.begin(); key != openKeys.end();) {
            unfile(*key++, signal);
        }
    }

    /// The frame filed under `key`, or null. The pointer is good until the table changes.
    Frame* lookup(key_type key) { return index.find(key); }

    ChangeCounter& changes() const { return *changeCounter; }

    ProgramMemo memo; ///< of the decoder, if it has cycles

  private:
    friend iterator;

    template <class Table>
    static auto& existing(Table& table, key_type key) {
        auto* const frame = table.index.find(key);
        if (frame == nullptr) {
            throw std::out_of_range("FrameTable::at");
        }
        return *frame;
    }

    void open(typename Map::iterator position) { open(*index.find(position->first)); }
    void open(Frame& frame) {
        if (!frame.isOpen()) {
            openKeys.insert(frame.ownKey);
            frame.state = Frame::State::Open;
            memo.clear();
            frame.forgetProgram(); // it would be taken without a look at the list
        }
    }

    /// After an insertion by a client, who thereby gets the list: opens the entry.
    std::pair<iterator, bool> entered(std::pair<typename Map::iterator, bool> inserted) {
        open(inserted.second ? index.enter(Frame(inserted.first)) : *index.find(inserted.first->first));
        return {iterator(this, inserted.first), inserted.second};
    }

    void removeFrom(Frame& frame, const Signal* signal) {
        if (std::erase(frame.position->second, signal) != 0) {
            frame.forgetProgram();
            memo.clear();
        }
        if (frame.signals().empty()) {
            erase(const_iterator(frame.position));
        }
    }

    Map frames;
    HashIndex<Frame> index;
    std::set<key_type> openKeys;
    ChangeCounter* changeCounter;
};

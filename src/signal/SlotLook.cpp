#include "signal/SlotLook.h"

#include "signal/SlotHolder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

/// What others write meanwhile.
template <class Word>
Word seenNow(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

} // namespace

SlotLook::SlotLook(const SlotView& view) {
    const signalSlot_t& slot = *view.content();
    if (view.read(raw, timestamp) == SlotView::State::Held) {
        lockWord = view.lockWord(); // 0 if it has been let go just now
        raw = seenNow(slot.raw);
        timestamp = seenNow(slot.timestamp);
    }
    size = seenNow(slot.size);
    name.assign(slot.name, strnlen(slot.name, sizeof slot.name));
    isPadded = std::all_of(std::begin(slot.padding), std::end(slot.padding),
                           [](const std::uint8_t& byte) { return seenNow(byte) == 0; });
    valid = seenNow(slot.valid);
    isDefaultMutex = seenNow(slot.mutex.__data.__kind) == PTHREAD_MUTEX_DEFAULT;
    libraryOwner = seenNow(slot.mutex.__data.__owner);
}

LockHolder LockHolder::of(const SlotLook& look) {
    const auto stateOf = [](const SlotHolder& holder) {
        return holder.isGone() ? State::Gone : State::Exists;
    };
    const SlotHolder holder = SlotHolder::of(look.lockWord);
    switch (holder.kind) {
    case SlotHolder::Kind::Thread:
        return {stateOf(holder), holder.thread, true};
    case SlotHolder::Kind::OtherThread:
        return {State::Unknown, holder.thread, false};
    case SlotHolder::Kind::CLibrary:
        if (look.libraryOwner > 0) {
            const SlotHolder owner{SlotHolder::Kind::Thread, look.libraryOwner};
            return {stateOf(owner), owner.thread, false};
        }
        return {};
    default:
        return {};
    }
}

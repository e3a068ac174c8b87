#include "condition/SignalTimeouts.h"

namespace rksignal {

SignalTimeouts::SignalTimeouts(std::size_t signals, std::uint64_t timeout) : timeout(timeout) {
    for (std::size_t i = 0; i <= signals; ++i) {
        entries.push_back({i, i});
    }
}

void SignalTimeouts::unlink(Entry& entry) {
    entries[entry.previous].next = entry.next;
    entries[entry.next].previous = entry.previous;
}

void SignalTimeouts::written(std::size_t signal, std::uint64_t now) {
    Entry& entry = entries[signal];
    Entry& end = entries.back();
    unlink(entry);
    entry = {end.previous, entries.size() - 1, now, false};
    entries[end.previous].next = signal;
    end.previous = signal;
}

bool SignalTimeouts::hasExpired(std::uint64_t now) const {
    const std::size_t first = entries.back().next;
    return first != entries.size() - 1 && now > entries[first].writtenAt &&
           now - entries[first].writtenAt > timeout;
}

std::size_t SignalTimeouts::take() {
    const std::size_t first = entries.back().next;
    Entry& entry = entries[first];
    unlink(entry);
    entry = {first, first, entry.writtenAt, true};
    return first;
}

void SignalTimeouts::withdraw(std::size_t signal) {
    Entry& entry = entries[signal];
    unlink(entry);
    entry = {signal, signal, entry.writtenAt, false};
}

void SignalTimeouts::restart(std::uint64_t now) {
    for (std::size_t i = entries.back().next; i != entries.size() - 1; i = entries[i].next) {
        entries[i].writtenAt = now;
    }
}

} // namespace rksignal

#include "condition/SignalTimeouts.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

std::uint64_t endOf(std::uint64_t start, std::uint64_t timeout) {
    return start + std::min(timeout, never - start);
}

} // namespace

std::uint64_t SignalTimeouts::Group::expiry(const std::vector<Entry>& entries) const {
    return signals.empty() ? never : endOf(entries[signals.front()].writtenAt, timeout);
}

void SignalTimeouts::add(std::optional<std::uint64_t> timeout) {
    Group* group = nullptr;
    if (timeout) {
        group = &groups.try_emplace(*timeout, Group{*timeout}).first->second;
    }
    idle.push_back(entries.size());
    entries.push_back({group, std::prev(idle.end())});
}

void SignalTimeouts::written(std::size_t signal, std::uint64_t now) {
    Entry& entry = entries[signal];
    if (entry.group == nullptr) {
        return;
    }
    Places& list = entry.group->signals;
    list.splice(list.end(), entry.isWaiting ? list : idle, entry.place);
    entry.writtenAt = now;
    entry.isWaiting = true;
    entry.isTimedOut = false;
    nobodyBefore = std::min(nobodyBefore, endOf(now, entry.group->timeout));
}

bool SignalTimeouts::hasExpired(std::uint64_t now) {
    if (now <= nobodyBefore) {
        return false;
    }
    const Group* const group = next();
    nobodyBefore = group != nullptr ? group->expiry(entries) : never;
    return now > nobodyBefore;
}

/// The group of the signal that expires next; null if there are no groups.
const SignalTimeouts::Group* SignalTimeouts::next() const {
    const auto first = std::min_element(groups.begin(), groups.end(), [this](const auto& a, const auto& b) {
        return a.second.expiry(entries) < b.second.expiry(entries);
    });
    return first != groups.end() ? &first->second : nullptr;
}

std::size_t SignalTimeouts::take() {
    const std::size_t signal = next()->signals.front();
    rest(entries[signal]);
    entries[signal].isTimedOut = true;
    return signal;
}

void SignalTimeouts::withdraw(std::size_t signal) {
    rest(entries[signal]);
    entries[signal].isTimedOut = false;
}

void SignalTimeouts::rest(Entry& entry) {
    if (entry.isWaiting) {
        idle.splice(idle.end(), entry.group->signals, entry.place);
        entry.isWaiting = false;
    }
}

void SignalTimeouts::restart(std::uint64_t now) {
    nobodyBefore = 0;
    for (Entry& entry : entries) {
        entry.writtenAt = entry.isWaiting ? now : entry.writtenAt;
    }
}

} // namespace rksignal

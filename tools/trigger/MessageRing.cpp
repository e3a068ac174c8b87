#include "trigger/MessageRing.h"

#include <algorithm>
#include <cstring>

namespace rksignal {

void MessageRing::keep(std::span<const std::uint8_t> bytes, std::uint64_t time) {
    const Head head{time, bytes.size()};
    const std::size_t size = sizeof head + bytes.size();
    while (first < kept.size() && kept.size() - first + size > limit) {
        lost = std::max(lost, headAt(first).time);
        pop();
    }
    if (2 * first > kept.size()) { // moves no more bytes than were forgotten since the last time
        kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(first));
        first = 0;
    }
    const std::size_t end = kept.size();
    kept.resize(end + size);
    std::memcpy(kept.data() + end, &head, sizeof head);
    std::copy(bytes.begin(), bytes.end(), kept.begin() + static_cast<std::ptrdiff_t>(end + sizeof head));
}

MessageRing::Head MessageRing::headAt(std::size_t offset) const {
    Head head{};
    std::memcpy(&head, kept.data() + offset, sizeof head);
    return head;
}

void MessageRing::pop() {
    first += sizeof(Head) + headAt(first).length;
}

void MessageRing::forgetBefore(std::uint64_t time) {
    while (first < kept.size() && headAt(first).time < time) {
        pop();
    }
}

void MessageRing::clear() {
    kept.clear();
    first = 0;
}

void MessageRing::deliver(std::uint64_t from, std::uint64_t to, MessageSink& sink) const {
    for (std::size_t offset = first; offset < kept.size();) {
        const Head head = headAt(offset);
        offset += sizeof head;
        if (from <= head.time && head.time <= to) {
            sink.receiveRecord({kept.data() + offset, head.length}, head.time);
        }
        offset += head.length;
    }
}

} // namespace rksignal

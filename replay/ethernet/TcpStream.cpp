#include "ethernet/TcpStream.h"

#include <algorithm>
#include <utility>

namespace rksignal {

TcpStream::Outcome TcpStream::receive(const Segment& segment, const SomeIpVisitor& visit) {
    constexpr std::int32_t farOff = 1 << 20;
    std::uint32_t sequence = segment.sequence;
    if (segment.starts) {
        beginAt(++sequence, true); // the SYN counts one
    }
    if (segment.payload.empty()) {
        return Outcome::Read;
    }
    if (!isKnown || distanceTo(sequence) > farOff || distanceTo(sequence) < -farOff) {
        beginAt(sequence, false);
    }
    if (distanceTo(sequence) > 0) {
        hold({sequence, false, segment.payload, segment.timestamp});
        while (hasWaitedEnough(segment.timestamp)) {
            skipGap(visit);
        }
        return Outcome::Held;
    }
    const bool inStep = readNew(sequence, segment.payload, visit);
    readHeld(visit);
    return inStep ? Outcome::Read : Outcome::OutOfStep;
}

void TcpStream::finish(const SomeIpVisitor& visit) {
    while (!held.empty()) {
        skipGap(visit);
    }
}

void TcpStream::restart() {
    isKnown = false;
    held.clear();
    heldBytes = 0;
    stream.restart(false);
}

void TcpStream::beginAt(std::uint32_t sequence, bool atMessage) {
    restart();
    isKnown = true;
    next = sequence;
    stream.restart(atMessage);
}

/// Sequence numbers wrap around.
std::int32_t TcpStream::distanceTo(std::uint32_t sequence) const {
    return static_cast<std::int32_t>(sequence - next);
}

/// Reads what has not been read of a segment that begins at `next` or before it. \return whether that was in
/// step
bool TcpStream::readNew(std::uint32_t sequence, ByteView payload, const SomeIpVisitor& visit) {
    const std::size_t known = next - sequence;
    if (known >= payload.size()) {
        return true;
    }
    next = static_cast<std::uint32_t>(sequence + payload.size());
    return stream.read(payload.subspan(known), visit);
}

/// Reads the segments that wait no more.
void TcpStream::readHeld(const SomeIpVisitor& visit) {
    const auto isDue = [this](const HeldSegment& each) { return distanceTo(each.sequence) <= 0; };
    for (;;) {
        const auto due = std::find_if(held.begin(), held.end(), isDue);
        if (due == held.end()) {
            return;
        }
        const HeldSegment segment = std::move(*due);
        held.erase(due);
        heldBytes -= segment.payload.size();
        readNew(segment.sequence, segment.payload, visit);
    }
}

/// Gives up what is missing before the first segment that waits. REQUIRES: there is one.
void TcpStream::skipGap(const SomeIpVisitor& visit) {
    const auto isEarlier = [this](const HeldSegment& left, const HeldSegment& right) {
        return distanceTo(left.sequence) < distanceTo(right.sequence);
    };
    next = std::min_element(held.begin(), held.end(), isEarlier)->sequence;
    ++lostSegments;
    stream.restart(false);
    readHeld(visit);
}

void TcpStream::hold(const Segment& segment) {
    held.push_back({segment.sequence, segment.timestamp, {segment.payload.begin(), segment.payload.end()}});
    heldBytes += segment.payload.size();
}

bool TcpStream::hasWaitedEnough(std::uint64_t now) const {
    return held.size() > maxHeld || heldBytes > maxHeldBytes ||
           (!held.empty() && now > held.front().timestamp && now - held.front().timestamp > maxWait);
}

} // namespace rksignal

#include "Traffic.h"

#include <algorithm>

namespace drive {

namespace {

/// How long the frame occupies its bus, in nanoseconds, stuff bits left out: 500 kbit/s, the data of a CAN FD
/// frame 2 Mbit/s.
unsigned duration(const Frame& frame) {
    const unsigned payloadBits = 8U * frame.length;
    const unsigned headBits = frame.extended ? 67 : 47;
    if (frame.kind == FrameKind::FdData) {
        return (headBits - 17) * 2000 + (payloadBits + 45) * 500;
    }
    return (headBits + (frame.kind == FrameKind::Remote ? 0 : payloadBits)) * 2000;
}

} // namespace

std::span<const Frame> Traffic::next() {
    const double seconds = tickMilliseconds / 1000.0 / load;
    car.step(seconds);
    const std::uint64_t tickStart = time();
    frames.clear();
    sendAll(powertrain, tickStart);
    sendAll(body, tickStart);
    std::stable_sort(frames.begin(), frames.end(), [](const Frame& left, const Frame& right) {
        return left.microseconds < right.microseconds;
    });
    ++tick;
    return frames;
}

/// A bus sends the frames of a tick one after another, a little late each time.
void Traffic::sendAll(Bus& bus, std::uint64_t tickStart) {
    std::uint64_t nanoseconds = 0;
    for (std::size_t i = 0; i < bus.senders.size(); ++i) {
        const Sender& sender = bus.senders[i];
        const std::uint64_t phase = sender.phase / tickMilliseconds;
        if (tick < phase || (tick - phase) % (sender.period / tickMilliseconds) != 0) {
            continue;
        }
        Frame frame{.bus = bus.number,
                    .kind = sender.kind,
                    .extended = sender.extended,
                    .id = sender.id,
                    .length = sender.length};
        if (!sender.fill(frame, car.now(), bus.sent[i]++)) {
            continue;
        }
        nanoseconds += duration(frame) + static_cast<unsigned>(20000 * (1 + car.noise()));
        frame.microseconds = tickStart + nanoseconds / 1000 / load;
        frames.push_back(frame);
    }
}

} // namespace drive

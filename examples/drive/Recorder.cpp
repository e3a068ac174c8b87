#include "Recorder.h"

#include <algorithm>

namespace drive {

namespace {

CANExtTraceMessage::FrameFormat formatOf(const Frame& frame) {
    using enum CANExtTraceMessage::FrameFormat;
    if (frame.kind == FrameKind::FdData) {
        return frame.extended ? FdExtended : FdStandard;
    }
    return frame.extended ? Extended : Standard;
}

} // namespace

void Recorder::add(const Frame& frame) {
    if (frame.kind == FrameKind::Data || frame.kind == FrameKind::FdData) {
        add(CANExtTraceMessage{.timestamp = frame.microseconds * 1000,
                               .channel = frame.bus,
                               .frameFormat = formatOf(frame),
                               .length = frame.length,
                               .canId = frame.id,
                               .payload = frame.data});
    }
}

void Recorder::writeBefore(std::uint64_t microseconds) {
    const auto end = pending.lower_bound(microseconds * 1000);
    std::for_each(pending.begin(), end, [this](const auto& message) { writer.write(message.second); });
    count += static_cast<std::uint64_t>(std::distance(pending.begin(), end));
    pending.erase(pending.begin(), end);
}

} // namespace drive

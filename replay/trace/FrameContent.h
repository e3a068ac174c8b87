/// \file
/// What one entry of a trace is: a frame of a bus, or something that is only counted.
#pragma once

#include "trace/MessageSink.h"

#include <cstdint>
#include <type_traits>
#include <variant>

namespace rksignal {

/// A message, which belongs to whoever reads the entries and is good until the next one; its time is not set.
using FrameContent = std::variant<PassedMessage, CANExtTraceMessage*, LINTraceMessage*,
                                  FlexRayExtTraceMessage*, MIITraceMessage*>;

/// Hands it over, with `time` for its time stamp.
inline void deliverContent(const FrameContent& content, MessageSink& sink, std::uint64_t time) {
    std::visit(
        [&sink, time](auto message) {
            if constexpr (std::is_pointer_v<decltype(message)>) {
                message->timestamp = time;
                sink.receive(*message);
            } else {
                sink.pass(message, time);
            }
        },
        content);
}

} // namespace rksignal

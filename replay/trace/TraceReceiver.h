/// \file
/// Who gets the messages of a trace.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/GPSTraceMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace rksignal {

/// A message that carries no values.
enum class PassedMessage : std::uint8_t {
    Remote,    ///< CAN remote frame
    Error,     ///< error frame of any bus
    Xl,        ///< CAN XL frame
    Truncated, ///< a frame that was not recorded in full
    Other,     ///< a kind that is not known
};

constexpr std::size_t passedMessages = 5; ///< number of kinds of them

/// `FlexRayExtTraceMessage::frameKind` of a frame from a trace that does not tell the segment. A slot lies in
/// one of them in all frames of a bus, so the definitions know.
constexpr std::uint8_t unknownSegment = 0;

/// One call a message, in the order of the trace. What is handed over is good until the call returns.
class TraceReceiver {
  public:
    virtual ~TraceReceiver() = default;

    virtual void receive(const CANExtTraceMessage& frame) = 0;
    virtual void receive(const LINTraceMessage& frame) = 0;
    virtual void receive(const FlexRayExtTraceMessage& frame) = 0;
    virtual void receive(const MIITraceMessage& frame) = 0;
    virtual void receive(const GPSTraceMessage& message) = 0;

    /// A raw trace record as it lies in the file, of any type, whole, with at least `recordHeaderLength`
    /// bytes. `timestamp` is its time in the replay; the one in the record's bytes is the recorder's.
    virtual void receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) = 0;

    /// A message that is only counted.
    virtual void pass(PassedMessage kind, std::uint64_t timestamp) = 0;
};

} // namespace rksignal

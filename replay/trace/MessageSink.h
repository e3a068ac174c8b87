/// \file
/// Who gets the messages of a trace, or of a live source.
#pragma once

#include "rktrace/AnalogTraceMessage.h"
#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/EthernetTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/GPSTraceMessage.h"
#include "rktrace/GpioTraceMessage.h"
#include "rktrace/KeyboardMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "rktrace/SystemMessage.h"
#include "text/Export.h"

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

/// One call a message, in the order of the trace. Override what is wanted: everything else is ignored. (Write
/// `using MessageSink::receive;` beside it, or the compiler may warn of the overloads that it hides.)
///
/// Time stamps are nanoseconds since 1970-01-01 UTC. What is handed over is good until the call returns. All
/// calls come from the thread that calls Trace::run(). An exception ends the run and goes on to its caller.
class RKREPLAY_EXPORT MessageSink {
  public:
    virtual ~MessageSink();

    virtual void receive(const CANExtTraceMessage& /*frame*/) {}
    virtual void receive(const LINTraceMessage& /*frame*/) {}
    virtual void receive(const FlexRayExtTraceMessage& /*frame*/) {}
    virtual void receive(const MIITraceMessage& /*frame*/) {}
    virtual void receive(const EthernetTraceMessage& /*frame*/) {}
    virtual void receive(const GpioTraceMessage& /*message*/) {}
    virtual void receive(const AnalogTraceMessage& /*message*/) {}
    virtual void receive(const KeyboardMessage& /*message*/) {}
    virtual void receive(const SystemMessage& /*message*/) {} ///< also a SystemUsageMessage
    virtual void receive(const GPSTraceMessage& /*message*/) {}

    /// A raw trace record as it lies in a record file, of any type, whole, with at least
    /// `recordHeaderLength` bytes. `timestamp` is its time in the replay; the one in the record's bytes is
    /// the recorder's. Unless overridden decodes it, which allocates, and calls receive() or pass().
    /// \return whether it could be a record of its type; otherwise it counts as damage of its trace
    virtual bool receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp);

    /// A message that is only counted.
    virtual void pass(PassedMessage /*kind*/, std::uint64_t /*timestamp*/) {}

    /// Asked before each message: whether no further ones are wanted.
    virtual bool closed() const { return false; }
};

} // namespace rksignal

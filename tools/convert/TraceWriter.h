/// \file
/// Writes the messages of a trace in another format.
#pragma once

#include "output/OutputBuffer.h"
#include "text/Counted.h"
#include "trace/MessageSink.h"

#include <array>
#include <cstdint>

namespace rksignal {

/// What all formats have in common: what they cannot hold is counted. A format overrides receive() for what
/// it holds; records come as the messages that they are made from.
class TraceWriter : public MessageSink {
  public:
    using MessageSink::receive;

    std::uint64_t written() const { return messages; }
    virtual Counts lost() const;

    void receive(const CANExtTraceMessage& /*frame*/) override { ++lostShapes; }
    void receive(const LINTraceMessage& /*frame*/) override { ++lostLin; }
    void receive(const FlexRayExtTraceMessage& /*frame*/) override { ++lostFlexRay; }
    void receive(const MIITraceMessage& /*frame*/) override { ++lostEthernet; }
    void receive(const EthernetTraceMessage& /*frame*/) override { ++lostEthernet; }
    void receive(const GpioTraceMessage& /*message*/) override { ++lostLogger; }
    void receive(const AnalogTraceMessage& /*message*/) override { ++lostLogger; }
    void receive(const KeyboardMessage& /*message*/) override { ++lostLogger; }
    void receive(const SystemMessage& /*message*/) override { ++lostLogger; }
    void receive(const GPSTraceMessage& /*message*/) override { ++lostGps; }
    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    bool closed() const override { return out.closed(); }
    /// Writes what is still in memory. \throws std::system_error if the file could not be written
    virtual void finish() { out.finish(); }

  protected:
    /// `file` must outlive the writer.
    explicit TraceWriter(const OutputFile& file) : out(file) {}

    OutputBuffer out;
    std::uint64_t messages = 0;
    std::uint64_t lostLin = 0;
    std::uint64_t lostFlexRay = 0;
    std::uint64_t lostEthernet = 0;
    std::uint64_t lostGps = 0;
    std::uint64_t lostLogger = 0; ///< inputs, keys and status of the logger
    std::uint64_t lostShapes = 0; ///< frames that no bus can carry

  private:
    std::array<std::uint64_t, passedMessages> passed{}; ///< by PassedMessage
};

/// Whether the frame is one that a CAN bus can carry.
bool isWellFormed(const CANExtTraceMessage& frame);

} // namespace rksignal

/// \file
/// Writes candump logs.
#pragma once

#include "convert/TraceWriter.h"
#include "text/NumberText.h"

namespace rksignal {

/// CAN and CAN FD data frames, channel N as interface canN. Flags of CAN FD frames are 0, as messages do not
/// carry them.
class CandumpWriter final : public TraceWriter {
  public:
    using TraceWriter::receive;

    explicit CandumpWriter(const OutputFile& file) : TraceWriter(file) {}

    void receive(const CANExtTraceMessage& frame) override;

  private:
    void appendFrame(const CANExtTraceMessage& frame);

    TimeText time;
};

} // namespace rksignal

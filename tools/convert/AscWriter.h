/// \file
/// Writes ASC logs.
#pragma once

#include "convert/TraceWriter.h"
#include "text/NumberText.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace rksignal {

/// CAN, CAN FD and LIN frames, all as received; channels keep their number. Times count from the millisecond
/// of the first message; an earlier one behind it starts a trigger block with a date of its own. Bit rate
/// switch and error state of CAN FD frames are 0 and checksums of LIN frames are left out, as messages do not
/// carry them.
class AscWriter final : public TraceWriter {
  public:
    using TraceWriter::receive;

    explicit AscWriter(const OutputFile& file) : TraceWriter(file) {}

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void finish() override;

  private:
    void beginBlock(std::uint64_t timestamp);
    char* beginLine(std::uint64_t timestamp);
    void endLine(char* at, std::span<const std::uint8_t> bytes, std::string_view rest);

    std::optional<std::uint64_t> start; ///< of the trigger block
    TimeText time;
};

} // namespace rksignal

/// \file
/// Makes the records of bus events in an MDF 4 file messages of their bus.
#pragma once

#include "trace/FrameContent.h"
#include "trace/mdf/MdfLayout.h"

#include <cstdint>
#include <optional>
#include <span>

namespace rksignal {

class MdfFrames {
  public:
    using Bytes = std::span<const std::uint8_t>;

    /// The number of data bytes that a record announces; nothing if it does not.
    static std::optional<std::uint64_t> announced(const MdfLayout& layout, const std::uint8_t* record);

    /// Reads an event. `data` are at least the data bytes of it that were recorded. Allocates only when a
    /// message grows. \return nothing if the record cannot be such an event: malformed() says why
    std::optional<FrameContent> read(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    const char* malformed() const { return reason; } ///< a text with static lifetime

  private:
    std::optional<FrameContent> readCan(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<FrameContent> readLin(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<FrameContent> readFlexRay(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<FrameContent> readEthernet(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<FrameContent> fail(const char* why);

    const char* reason = nullptr;
    std::uint8_t channel = 0;
    CANExtTraceMessage can;
    LINTraceMessage lin;
    FlexRayExtTraceMessage flexRay;
    MIITraceMessage ethernet;
};

} // namespace rksignal

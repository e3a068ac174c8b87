/// \file
/// Makes the records of bus events in an MDF 4 file messages of their bus.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "trace/mdf/MdfLayout.h"

#include <cstdint>
#include <optional>
#include <span>
#include <variant>

namespace rksignal {

class MdfFrames {
  public:
    using Bytes = std::span<const std::uint8_t>;
    /// A message, which belongs to the reader and is good until the next one; its time is not set.
    using Content = std::variant<PassedMessage, CANExtTraceMessage*, LINTraceMessage*,
                                 FlexRayExtTraceMessage*, MIITraceMessage*>;

    /// The number of data bytes that a record announces; nothing if it does not.
    static std::optional<std::uint64_t> announced(const MdfLayout& layout, const std::uint8_t* record);

    /// Reads an event. `data` are at least the data bytes of it that were recorded. Allocates only when a
    /// message grows. \return nothing if the record cannot be such an event: malformed() says why
    std::optional<Content> read(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    const char* malformed() const { return reason; } ///< a text with static lifetime

  private:
    std::optional<Content> readCan(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<Content> readLin(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<Content> readFlexRay(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<Content> readEthernet(const MdfLayout& layout, const std::uint8_t* record, Bytes data);
    std::optional<Content> fail(const char* why);

    const char* reason = nullptr;
    std::uint8_t channel = 0;
    CANExtTraceMessage can;
    LINTraceMessage lin;
    FlexRayExtTraceMessage flexRay;
    MIITraceMessage ethernet;
};

} // namespace rksignal

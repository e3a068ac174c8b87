/// \file
/// Where a signal lies in a frame that was received.
#pragma once

#include "explain/SignalWatch.h"
#include "output/BitTable.h"

#include <optional>
#include <span>
#include <string>

namespace rksignal {

/// The bits of a signal in the bytes of a frame.
struct FrameField {
    std::span<const std::uint8_t> payload; ///< from where the start bit counts, within the frame
    std::size_t offset;                    ///< of the payload in the frame
    BitRange range;

    /// The bits, most significant first, in groups of four: `0001 1110`
    std::string digits() const;
};

/// Nothing if the frame does not hold all bits, or if they lie in what the frame alone does not show: in PDUs
/// and SOME/IP messages of FlexRay and Ethernet frames, and in messages of several frames. `frame` must
/// outlive the result.
std::optional<FrameField> fieldIn(const SeenFrame& frame, const MessageDefinition& message,
                                  const SignalDefinition& signal);

/// The payload as a table of its bits, those of the field marked.
std::string fieldTable(const FrameField& field, const TerminalStyle& style);

/// `1E BB 00`, at most the first 64 bytes.
std::string bytesText(std::span<const std::uint8_t> bytes);

} // namespace rksignal

/// \file
/// Frames chosen by their identifiers.
#pragma once

#include "definition/SignalKind.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// A set of identifiers, each of one kind.
class FrameIds {
  public:
    /// Arguments are lists with commas. An item is an identifier or a range of them, as `rksignal info` shows
    /// them: of CAN, hexadecimal, `1A0` with up to 3 digits being one of 11 bits and `18FEF100` one of 29; of
    /// other kinds with the kind in front, `lin:3C`, hexadecimal, `flexray:41`, `digital:8`; ranges
    /// `100-1FF`. The name of a kind alone, `ethernet`, stands for all its frames. \throws UsageError
    explicit FrameIds(const std::vector<std::string>& arguments);

    bool empty() const { return ranges.empty(); }
    /// `extended`: of CAN, whether the identifier has 29 bits.
    bool contains(SignalKind kind, std::uint32_t id, bool extended = false) const;

  private:
    struct Range {
        SignalKind kind;
        bool extended;
        std::uint32_t first;
        std::uint32_t last;
    };

    void add(std::string_view item);

    std::vector<Range> ranges;
};

} // namespace rksignal

/// \file
/// The fast way through a candump log.
#pragma once

#include "trace/log/CandumpLine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace rksignal {

/// Nearly all lines of a log have one shape: they begin with the second of a line before, name an interface
/// that has been named before, and hold a classic data frame.
///
///     (1626905042.645596) can1 0CF00400#507D8DD11200F48E
///     |---------- same ||------| same  |---------------| digits, read several at once
///
/// Lines of another shape, damaged ones included, are left to parseCandumpLine(), which says what they are.
/// From those that it has read, the shape learns the second and the interface.
class CandumpShape {
  public:
    /// Reads `line`, without its line end, as parseCandumpLine() does, and sets the channel.
    /// \return false, with `result` unspecified, if the line does not have the shape
    bool read(std::string_view line, CandumpLine& result) const;

    /// `line` has been read the plain way, and its interface has this channel.
    void learn(std::string_view line, const CandumpLine& read, std::uint8_t channel);

    /// Whether read() is tried at all. Off: all lines go the plain way, with the same result.
    static constexpr bool isUsed = true;

  private:
    struct Interface {
        std::uint64_t name = 0; ///< as it is loaded, with zeros behind it: at most 7 characters
        std::size_t length = 0; ///< 0: not known yet
        std::uint8_t channel = 0;
    };

    bool isInSecond(const char* line) const;
    const Interface* interfaceAt(const char* name) const;
    static std::size_t placeOf(const char* name, std::size_t length);

    std::array<char, 16> second{};        ///< `(SECONDS.`, then zeros
    std::size_t secondLength = 0;         ///< 0: not known yet
    std::uint64_t secondStart = 0;        ///< in nanoseconds
    std::array<Interface, 16> interfaces; ///< by placeOf()
};

} // namespace rksignal

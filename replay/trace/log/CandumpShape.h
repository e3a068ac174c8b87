/// \file
/// The fast way through a candump log.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "trace/log/CandumpLine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace rksignal {

/// Nearly all lines of a log have one shape: they begin with the second of a line before, name an interface
/// that has been named before, and hold a data frame, classic or CAN FD.
///
///     (1626905042.645596) can1 0CF00400#507D8DD11200F48E
///     |---------- same ||------| same  |---------------| digits, sixteen at once
///
/// Such a line is read in one pass that also finds its end. Lines of another shape, damaged ones included,
/// are left to parseCandumpLine(), which says what they are. From those that it has read, the shape learns
/// the second and the interface.
class CandumpShape {
  public:
    /// Characters of the longest line of this shape: second, decimals and `) `, name, identifier and `#`,
    /// another `#` and flags, data, line end. No more are looked at.
    static constexpr std::size_t reach = 16 + 8 + 8 + 9 + 2 + 2 * 64 + 2;

    /// Reads the line that begins at `text` as parseCandumpLine() does, and sets the channel.
    /// REQUIRES: `reach` characters can be read.
    /// \return its length with its line end; 0, with `frame` unspecified, if it does not have the shape
    std::size_t read(const char* text, CANExtTraceMessage& frame) const;

    /// `line` has been read the plain way, and its interface has this channel.
    void learn(std::string_view line, const CandumpLine& read, std::uint8_t channel);

  private:
    /// At most 8 characters that something begins with, as they are loaded. Until they are known they are
    /// some that no line has.
    struct Prefix {
        std::uint64_t characters = ~std::uint64_t{0};
        std::uint64_t mask = ~std::uint64_t{0};

        static Prefix of(std::string_view text);
        bool isAt(const char* text) const;
    };
    struct Interface {
        Prefix name;            ///< with the blank behind it
        std::size_t length = 0; ///< of that
        std::uint8_t channel = 0;
    };

    const Interface* interfaceAt(const char* name) const;

    std::array<Prefix, 2> second;         ///< `(SECONDS.`
    std::size_t secondLength = 0;         ///< of that
    std::uint64_t secondStart = 0;        ///< in nanoseconds
    std::array<Interface, 16> interfaces; ///< the latest ones that were learnt
    std::size_t nextInterface = 0;        ///< where the next one is entered
};

} // namespace rksignal

/// \file
/// What the rows of a signal end with, by raw value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace rksignal {

/// Most signals have few bits and take the same values again and again. Everything in a row that follows from
/// the raw value is kept as text here: value, unit, raw value and description. A table holds the latest
/// endings, each at the place that the low bits of its raw value name, and grows while that loses many.
class RowEndings {
  public:
    static constexpr std::size_t longest = 55; ///< bytes of a text that is kept

    struct Ending {
        std::uint64_t raw = 0;
        std::uint8_t length = 0; ///< 0: none is kept here
        std::array<char, longest> text{};
    };

    /// The memory that all tables of an output take together is bounded.
    struct Budget {
        std::size_t endings = std::size_t{1} << 18; ///< that may still be kept: 16 MB
    };

    /// \param values how many raw values the signal can have
    explicit RowEndings(std::uint64_t values) : values(values) {}

    /// \return null if it is not kept
    const Ending* find(std::uint64_t raw) const {
        const Ending* const ending = table.data() + (raw & mask);
        return !table.empty() && ending->raw == raw && ending->length > 0 ? ending : nullptr;
    }
    /// REQUIRES: find() has returned null. Allocates when the table grows.
    void keep(std::uint64_t raw, std::string_view text, Budget& budget);

  private:
    void grow(Budget& budget);

    std::vector<Ending> table; ///< a power of two
    std::uint64_t mask = 0;
    std::uint64_t values;
    std::size_t kept = 0; ///< since the table has grown
};

} // namespace rksignal

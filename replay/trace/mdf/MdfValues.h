/// \file
/// Values of variable length of an MDF 4 file (VLSD channels): the bytes of frames whose records only say
/// where these lie.
#pragma once

#include "trace/mdf/MdfStream.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace rksignal {

/// A stretch of the values of one channel, which follow each other, each behind its length in 4 bytes. They
/// come from data blocks of their own, or are added one by one. Records take them in about their order: at
/// least the last 128 KB are kept.
class MdfValues {
  public:
    using Bytes = std::span<const std::uint8_t>;
    enum class Result : std::uint8_t {
        Found,
        Ahead, ///< it has not come yet
        Gone,  ///< it is not kept any more
    };
    static constexpr std::size_t lengthBytes = 4;   ///< in front of a value: its length
    static constexpr std::size_t maxLength = 98304; ///< of a value that can be kept whole

    /// Values that add() adds.
    MdfValues() = default;
    /// Values in blocks.
    explicit MdfValues(std::unique_ptr<MdfStream> blocks) : blocks(std::move(blocks)) {}

    /// Adds the next value. Of one that is longer than `maxLength`, the first bytes are enough.
    void add(std::uint32_t length, Bytes value);
    /// Finds the value at an offset, counted over all values with their lengths. \param value set if it is
    /// found, good until values are added or looked for; one that is too long is cut
    Result find(std::uint64_t offset, Bytes& value);
    /// Why the blocks end too early; empty if they do not.
    std::string failure() const { return blocks ? blocks->failure() : std::string(); }

  private:
    void append(Bytes more);
    bool has(std::uint64_t offset, std::uint64_t count);

    std::unique_ptr<MdfStream> blocks; ///< null: add() adds
    std::vector<std::uint8_t> kept;
    std::uint64_t base = 0;   ///< offset of the first kept byte
    std::uint64_t absent = 0; ///< bytes behind the kept ones that were not given
};

} // namespace rksignal

/// \file
/// Where channels of an MDF 4 file lie in a record, and how their values are read.
#pragma once

#include "trace/mdf/MdfBlocks.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>

namespace rksignal {

/// An unsigned number of up to 64 bits in a record; also a constant.
struct MdfField {
    /// Behind the end of a record there must be so many bytes, of any content.
    static constexpr std::size_t slack = 8;

    std::uint64_t of(const std::uint8_t* record) const {
        std::uint64_t word = 0;
        std::memcpy(&word, record + offset, sizeof word);
        word = isBigEndian ? __builtin_bswap64(word) : word;
        return (word >> shift & mask) * factor + addend;
    }

    bool exists = false;
    bool isBigEndian = false;
    std::uint8_t shift = 0;
    std::uint32_t offset = 0; ///< of the first byte
    std::uint64_t mask = 0;   ///< 0: a constant
    std::uint64_t factor = 1;
    std::uint64_t addend = 0;
};

/// The time channel of a group of records.
struct MdfTime {
    enum class Kind : std::uint8_t { Unsigned, Signed, Float, Double, Index };

    /// Of the record that is the `index`th of its group, in nanoseconds since the start of the measurement.
    /// \return nothing if it is not within 64 bits
    std::optional<std::int64_t> of(const std::uint8_t* record, std::uint64_t index) const;

    MdfField field; ///< what the record holds
    Kind kind = Kind::Index;
    unsigned bits = 64;
    double factor = 1;      ///< seconds per unit
    double offset = 0;      ///< seconds
    std::uint64_t unit = 0; ///< nanoseconds per unit if that is all there is to it; else 0
};

/// How a channel (CN block) stores its values.
struct MdfChannel {
    enum Type : std::uint8_t { Fixed, Vlsd, Master, VirtualMaster, Sync, Mlsd, VirtualData };

    MdfChannel(MdfFile& file, const MdfBlock& block);

    /// \return nothing if values of this form cannot be read, or not within a record of `size` bytes
    std::optional<MdfField> field(std::uint32_t size) const;
    std::optional<MdfTime> time(std::uint32_t size) const;

    std::uint8_t type;
    std::uint8_t syncType; ///< of a master: 1 is time
    std::uint8_t dataType;
    std::uint8_t bitOffset;
    std::uint32_t byteOffset; ///< in the record, behind its number
    std::uint32_t bits;
    std::uint64_t data;   ///< link to the values of a VLSD channel
    bool isLinear = true; ///< or has no conversion
    double factor = 1;    ///< of the conversion
    double addend = 0;

  private:
    std::optional<MdfField> raw(std::uint32_t size) const;
};

} // namespace rksignal

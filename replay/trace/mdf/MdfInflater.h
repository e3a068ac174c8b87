/// \file
/// The content of a compressed data block of an MDF 4 file (DZ: "deflate", "transposition + deflate").
#pragma once

#include "file/Inflater.h"
#include "trace/mdf/MdfBlocks.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// Inflates one block after the other. A deflated one is read as it comes; a transposed one is kept whole, as
/// it is inflated, while it is read.
class MdfInflater {
  public:
    static constexpr std::uint64_t maxTransposed = std::uint64_t{64} << 20;

    /// `file` must outlive the inflater.
    explicit MdfInflater(MdfFile& file);
    ~MdfInflater() { file.release(reserved); }
    MdfInflater(const MdfInflater&) = delete;
    MdfInflater& operator=(const MdfInflater&) = delete;

    /// Begins a DZ block, which may be cut off by the end of the file. \return false if it cannot be read:
    /// failure()
    bool open(const MdfBlock& block);
    /// \return the number of bytes; 0 at the end of the block, and if it is damaged: failure()
    std::size_t read(std::uint8_t* to, std::size_t size);
    const std::string& failure() const { return reason; } ///< empty if all went well

  private:
    std::size_t inflateTo(std::uint8_t* to, std::size_t size);
    bool refill();
    bool inflateAll();
    std::size_t gather(std::uint8_t* to, std::size_t size);
    std::size_t gatherRow(std::uint8_t* to, std::size_t size);
    std::size_t gatherRows(std::uint8_t* to, std::size_t most);
    bool fail(const std::string& why);

    MdfFile& file;
    Inflater inflater;
    std::vector<std::uint8_t> input;          ///< compressed bytes
    std::span<const std::uint8_t> compressed; ///< those of them that are still to be inflated
    std::uint64_t address = 0;                ///< of the block
    std::uint64_t next = 0;                   ///< compressed bytes: offset in the file
    std::uint64_t stored = 0;                 ///< compressed bytes that are left in the file
    std::uint64_t left = 0;                   ///< inflated bytes that are to come
    std::vector<std::uint8_t> whole;          ///< a transposed block
    std::uint64_t reserved = 0;               ///< room for it
    std::uint64_t columns = 0;                ///< bytes of a row of it; 0: it is not transposed
    std::uint64_t taken = 0;                  ///< bytes of it that were read
    std::string reason;
};

} // namespace rksignal

/// \file
/// The bytes that the data blocks of an MDF 4 file hold together.
#pragma once

#include "trace/mdf/MdfBlocks.h"
#include "trace/mdf/MdfInflater.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// What the writer of a file has not completed (ID block, `id_unfin_flags`).
struct MdfUnfinished {
    bool dataLength = false; ///< length of the last data block
    bool lists = false;      ///< links of the last list of data blocks
    bool valueOffsets =
        false; ///< where the values of variable length lie: they come in the order of the records
    std::vector<std::uint64_t>
        dataAddresses; ///< where data begin, sorted: an open block ends before the next
};

/// Reads from the beginning to the end what one link leads to: a data block (DT, DV, SD), compressed (DZ) or
/// not, or a list of them (DL, LD), also through a head of lists (HL). Blocks that are cut off by the end of
/// the file are read as far as they go.
class MdfStream {
  public:
    /// `address` 0: there are no data. What is given must outlive the stream.
    MdfStream(MdfFile& file, std::uint64_t address, const MdfUnfinished& unfinished)
        : file(file), unfinished(unfinished), single(address) {}

    /// \return the number of bytes, at least one; 0 at the end, and where the data cannot be read further
    std::size_t read(std::uint8_t* to, std::size_t size);
    /// Why the data end too early; empty if they do not.
    const std::string& failure() const { return reason; }

  private:
    bool openNext();
    bool openList(const MdfBlock& block);
    bool openData(const MdfBlock& block, bool isLast);
    bool openPlain(const MdfBlock& block, bool isLast);
    bool account(const MdfBlock& block);
    bool fail(const std::string& why);
    std::uint64_t openEnd(const MdfBlock& block) const;
    MdfBlock following() const;

    MdfFile& file;
    const MdfUnfinished& unfinished;
    std::uint64_t single;       ///< a block that is to be opened; 0: none
    MdfBlock list;              ///< whose blocks are read
    std::uint64_t listed = 0;   ///< how many of them were opened
    std::uint64_t listSize = 0; ///< how many there are
    std::uint64_t at = 0;       ///< of a plain block: offset in the file of the next byte
    std::uint64_t left = 0;     ///< bytes that are to come
    std::uint64_t lastEnd = 0;  ///< offset behind the block that was opened last
    std::uint64_t used = 0;     ///< bytes of all blocks so far
    bool isCompressed = false;
    std::optional<MdfInflater> inflater;
    std::string reason;
};

} // namespace rksignal

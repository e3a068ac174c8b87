/// \file
/// The blocks that an MDF 4 file consists of (ASAM MDF 4.1, "General file structure").
///
/// A block begins with its type (`##CN`), its length in bytes and its number of links; the links follow,
/// offsets in the file or 0, and behind them the data of the block. All numbers are little endian.
#pragma once

#include "file/InputFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace rksignal {

/// What is wrong with the structure of a file. For the reader itself: never leaves it.
struct MdfDamage {
    std::string text; ///< names the offset
};

class MdfFile;

/// A block as a view of its file. What lies behind its end, or that of the file, reads as 0.
class MdfBlock {
  public:
    MdfBlock() = default;
    MdfBlock(MdfFile& file, std::uint64_t address);

    /// `is("CN")`; false also if there is no block.
    bool is(std::string_view type) const { return std::string_view(name.data(), name.size()) == type; }
    std::uint64_t address() const { return start; }
    std::uint64_t length() const { return size; } ///< as the block says, with its head and links
    std::uint64_t end() const { return start + size; }
    std::uint64_t links() const { return linkCount; } ///< those that lie within the block
    std::uint64_t link(std::uint64_t index) const;
    std::uint64_t dataStart() const; ///< offset in the file

    /// The number at an offset in the data.
    template <class Number>
    Number data(std::uint64_t offset) const {
        static_assert(std::is_trivially_copyable_v<Number>);
        Number number{};
        read(dataStart() + offset, &number, sizeof number);
        return number;
    }

    static constexpr std::uint64_t headLength = 24;

  private:
    void read(std::uint64_t from, void* to, std::size_t count) const;

    MdfFile* file = nullptr;
    std::array<char, 2> name{};
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    std::uint64_t linkCount = 0;
};

/// A file that is read at any offset. Keeps one page of it.
class MdfFile {
  public:
    /// REQUIRES: `input.canReadAt()`. `input` must outlive the file.
    explicit MdfFile(InputFile& input) : input(input), length(input.size()) {}

    std::uint64_t size() const { return length; }
    /// Reads through the page, for small pieces. What lies behind the end is 0.
    void peek(std::uint64_t offset, void* to, std::size_t count);
    /// Reads directly. \return the number of bytes, fewer than `count` at the end
    std::size_t read(std::uint64_t offset, void* to, std::size_t count);

    /// A block of this type. A file cannot have more blocks than it has room for, so following links in a
    /// circle ends. \throws MdfDamage if there is none
    MdfBlock block(std::uint64_t address, std::string_view type);
    /// Room in memory that is to be kept for whole blocks, of all streams together. \return whether there is
    /// so much
    bool reserve(std::uint64_t bytes);
    void release(std::uint64_t bytes) { reserved -= bytes; }
    /// The text of a TX block, at most 255 bytes of it; empty if there is none.
    std::string text(std::uint64_t address);

  private:
    InputFile& input;
    std::uint64_t length;
    std::uint64_t blocks = 0; ///< given by block()
    std::uint64_t reserved = 0;
    std::array<std::uint8_t, 4096> page{};
    std::uint64_t pageStart = ~std::uint64_t{0};
    std::size_t pageSize = 0;
};

} // namespace rksignal

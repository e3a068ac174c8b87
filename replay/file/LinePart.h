/// \file
/// Some of the lines of a text file, told by the bytes at which they begin.
#pragma once

#include "file/ContentStream.h"
#include "file/InputFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace rksignal {

/// The lines of a file that begin at a byte from `from` up to, but not including, `to`, as they stand in it.
/// The parts of a file that follow each other without a gap hold each line once, wherever they are cut.
class LinePart final : public ContentStream {
  public:
    /// Looks for the first line. REQUIRES: file->canReadAt() \throws Error, ReadingStopped
    LinePart(std::unique_ptr<InputFile> file, std::uint64_t from, std::uint64_t to);

    /// Where the first line begins; where there is none, a place at or behind `to`, or the end of the file.
    std::uint64_t begin() const { return first; }

    std::size_t read(char* to, std::size_t size) override;
    std::unique_ptr<ContentStream> reopen() const override;
    bool canReopen() const override { return true; }
    std::uint64_t position() const override { return at - first; }
    std::uint64_t size() const override;

  private:
    std::uint64_t firstLineFrom(std::uint64_t from);

    std::unique_ptr<InputFile> file;
    std::uint64_t first;
    std::uint64_t end; ///< of the part
    std::uint64_t at;  ///< next byte that is read
    bool isAtEnd;      ///< the last line has been given
};

} // namespace rksignal

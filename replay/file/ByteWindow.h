/// \file
/// The bytes of a file, run by run, as binary formats are read.
#pragma once

#include "file/InputFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace rksignal {

/// A window on a file that moves on. It holds a block of the file, and grows when longer runs are asked for:
/// with the bytes that come, not with the number that is asked for.
class ByteWindow {
  public:
    using Bytes = std::span<const std::uint8_t>;

    /// `file` must outlive the window. Nothing is read yet.
    explicit ByteWindow(InputFile& file) : file(file) {}

    /// The next `size` bytes, waiting for them if need be; fewer only at the end of the file. Good until the
    /// next call. \throws Error if reading fails; the text names the file
    Bytes peek(std::size_t size) {
        if (end - start < size) [[unlikely]] {
            fill(size);
        }
        return {buffer.get() + start, std::min(size, end - start)};
    }

    /// Moves on. \return whether the file has so many bytes \throws Error if reading fails
    bool skip(std::uint64_t size);

    /// Number of bytes before the window.
    std::uint64_t offset() const { return passed + start; }

  private:
    void fill(std::size_t size);
    void makeRoom(std::size_t size);

    InputFile& file;
    std::unique_ptr<std::uint8_t[]> buffer;
    std::size_t capacity = 0;
    std::size_t start = 0;    ///< of what peek() gives
    std::size_t end = 0;      ///< of what has been read
    std::uint64_t passed = 0; ///< bytes of the file before the buffer
};

} // namespace rksignal

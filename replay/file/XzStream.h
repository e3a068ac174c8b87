/// \file
/// The content of xz files (The .xz File Format 1.0.4).
#pragma once

#include "file/ContentStream.h"
#include "file/InputFile.h"

#include <cstdint>
#include <lzma.h>
#include <vector>

namespace rksignal {

/// All streams of an xz file, one behind the other. Whatever stands before a cut or damaged place is given. A
/// file may ask for any memory up to 4 GB: one whose dictionary has more than 128 MiB is refused.
class XzStream : public ContentStream {
  public:
    /// \throws std::bad_alloc
    explicit XzStream(std::unique_ptr<InputFile> file);
    ~XzStream() override;

    std::size_t read(char* to, std::size_t size) override;
    std::unique_ptr<ContentStream> reopen() const override;
    bool canReopen() const override { return file->canReopen(); }
    std::uint64_t position() const override { return file->position(); }
    std::uint64_t size() const override { return file->size(); }

  private:
    void end(lzma_ret status);
    std::string tooMuch() const;

    std::unique_ptr<InputFile> file;
    std::vector<std::uint8_t> block; ///< compressed bytes
    lzma_stream stream = LZMA_STREAM_INIT;
    bool isExhausted = false; ///< the file has no more bytes
    bool isAtEnd = false;
};

} // namespace rksignal

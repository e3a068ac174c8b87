/// \file
/// The content of gzip files (RFC 1952).
#pragma once

#include "file/ContentStream.h"
#include "file/InputFile.h"

#include <vector>
#include <zlib.h>

namespace rksignal {

/// All members of a gzip file, one behind the other. Whatever stands before a cut or damaged place is given.
/// Zeros behind the last member, which tapes leave, are passed over.
class GzipStream : public ContentStream {
  public:
    /// \throws std::bad_alloc
    explicit GzipStream(std::unique_ptr<InputFile> file);
    ~GzipStream() override;

    std::size_t read(char* to, std::size_t size) override;
    std::unique_ptr<ContentStream> reopen() const override;
    bool canReopen() const override { return file->canReopen(); }
    std::uint64_t position() const override { return file->position(); }
    std::uint64_t size() const override { return file->size(); }

  private:
    bool refill();
    bool nextMember();
    bool end(std::string why);

    std::unique_ptr<InputFile> file;
    std::vector<Bytef> block; ///< compressed bytes
    z_stream stream{};
    bool isInside = true; ///< a member
    bool isAtEnd = false;
};

} // namespace rksignal

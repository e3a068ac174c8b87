/// \file
/// The content of gzip files (RFC 1952).
#pragma once

#include "file/ContentStream.h"
#include "file/Inflater.h"
#include "file/InputFile.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// All members of a gzip file, one behind the other. Whatever stands before a cut or damaged place is given.
/// Zeros behind the last member, which tapes leave, are passed over.
class GzipStream : public ContentStream {
  public:
    explicit GzipStream(std::unique_ptr<InputFile> file);

    std::size_t read(char* to, std::size_t size) override;
    std::unique_ptr<ContentStream> reopen() const override;
    bool canReopen() const override { return file->canReopen(); }
    std::uint64_t position() const override { return file->position(); }
    std::uint64_t size() const override { return file->size(); }

  private:
    bool refill();
    bool nextMember();
    bool end(const std::string& why);

    std::unique_ptr<InputFile> file;
    std::vector<std::uint8_t> block;          ///< compressed bytes
    std::span<const std::uint8_t> compressed; ///< those of them that are still to be inflated
    Inflater inflater;
    bool isInside = true; ///< a member
    bool isAtEnd = false;
};

} // namespace rksignal

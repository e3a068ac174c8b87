/// \file
/// The content of compressed files and of archives that libarchive reads.
#pragma once

#include "file/ContentStream.h"
#include "file/InputFile.h"
#include "file/Packing.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct archive;
struct archive_entry;

namespace rksignal {

/// Reads one member of an archive after the other, or the only content of a compressed file. Of compressed
/// data, the block of libarchive (64 KB, of bzip2 and lz4 also that of the format) in which a damaged place
/// lies is lost.
class ArchiveStream : public ContentStream {
  public:
    /// \throws Error if there is no memory for libarchive
    ArchiveStream(std::unique_ptr<InputFile> file, Packing packing);

    /// Goes on to the next regular file in the archive. \return whether there is one
    /// \throws Error, ReadingStopped
    bool nextMember();
    /// Goes on over `count` regular files.
    void skipMembers(std::size_t count);
    /// Of the member, at most 255 bytes of it.
    std::string memberName() const;
    std::size_t read(char* to, std::size_t size) override;
    std::unique_ptr<ContentStream> reopen() const override;
    bool canReopen() const override { return file->canReopen(); }
    std::uint64_t position() const override { return std::max(isAtEnd ? file->size() : 0, file->position()); }
    std::uint64_t size() const override { return file->size(); }

  private:
    struct Close {
        void operator()(archive* reader) const;
    };

    static ssize_t give(archive*, void* self, const void** block);
    static std::int64_t seek(archive*, void* self, std::int64_t offset, int whence);
    std::size_t refill();
    bool nextBlock();
    void end();
    bool fail();
    void rethrow();

    std::unique_ptr<InputFile> file;
    Packing packing;
    std::unique_ptr<archive, Close> reader;
    archive_entry* entry = nullptr;
    std::vector<char> buffer;     ///< bytes of the file
    std::uint64_t offset = 0;     ///< behind them, where the file can be read anywhere
    std::exception_ptr error;     ///< thrown by the file; must not pass through libarchive
    const char* block = nullptr;  ///< of the content, here and below
    std::size_t left = 0;         ///< bytes in it
    std::uint64_t blockStart = 0; ///< offset in the member
    std::uint64_t given = 0;      ///< bytes of the member
    std::size_t member = 0;       ///< its number, from 1
    bool isExhausted = false;     ///< the file has no more bytes
    bool isAtEnd = false;         ///< the content
};

} // namespace rksignal

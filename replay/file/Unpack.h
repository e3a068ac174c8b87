/// \file
/// Opens what compressed files and archives hold.
#pragma once

#include "file/InputFile.h"

#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// The files in an archive.
struct Unpacked {
    static constexpr std::size_t maxMembers = 256;

    std::vector<std::unique_ptr<InputFile>> files; ///< named `ARCHIVE/MEMBER`; never empty if no archive
    bool isArchive = false;
    std::string damage; ///< why the list of members ended before its end; empty if it did not
};

/// Compressed (gzip, zstd, xz, bzip2, lz4): the content, under the same name. An archive (tar, zip, also
/// compressed ones): its regular files in its order, themselves unpacked, archives within it not. Each has a
/// reader of its own, so that a compressed tar archive is decompressed up to each of its members. An archive
/// in a pipe is copied to a temporary file first. Everything else: the file itself.
/// \throws Error if an archive holds more than maxMembers files, or cannot be read. ReadingStopped
Unpacked unpack(std::unique_ptr<InputFile> file);

/// The content of a file that may be compressed. \throws Error, ReadingStopped
std::unique_ptr<InputFile> uncompressed(std::unique_ptr<InputFile> file);

} // namespace rksignal

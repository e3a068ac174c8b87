/// \file
/// Compressed files and archives, by what they begin with.
#pragma once

#include <cstdint>
#include <string_view>

namespace rksignal {

class InputFile;

enum class Packing : std::uint8_t { None, Gzip, Zstd, Xz, Bzip2, Lz4, Tar, Zip };

/// Of the first bytes; those of a tar archive show it from the 512th byte on.
Packing packingOf(std::string_view bytes);

/// Peeks as far as it takes, which is one line of a text. \throws Error, ReadingStopped
Packing detectPacking(InputFile& file);

inline bool isArchive(Packing packing) {
    return packing == Packing::Tar || packing == Packing::Zip;
}

} // namespace rksignal

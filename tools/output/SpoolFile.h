/// \file
/// Bytes that are written once and read back in another order.
#pragma once

#include <cstdint>
#include <span>

namespace rksignal {

/// A file without a name in the folder TMPDIR (else /tmp), whose room is free again when it is closed.
class SpoolFile {
  public:
    SpoolFile(); ///< \throws std::system_error, here and below
    ~SpoolFile();
    SpoolFile(const SpoolFile&) = delete;
    SpoolFile& operator=(const SpoolFile&) = delete;

    void write(std::span<const char> bytes);
    /// REQUIRES: so many bytes have been written at `offset`.
    void read(std::uint64_t offset, std::span<char> bytes) const;

  private:
    int descriptor;
};

} // namespace rksignal

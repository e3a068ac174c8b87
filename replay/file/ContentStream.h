/// \file
/// Bytes that are made from a file while they are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace rksignal {

/// The content of a compressed file, or of a member of an archive. Takes constant memory, whatever the size
/// of the content.
class ContentStream {
  public:
    virtual ~ContentStream() = default;
    ContentStream(const ContentStream&) = delete;
    ContentStream& operator=(const ContentStream&) = delete;

    /// Reads up to `size` bytes, at least one. \return their number; 0 at the end, and where the file is
    /// damaged \throws Error if the file cannot be read. ReadingStopped
    virtual std::size_t read(char* to, std::size_t size) = 0;
    /// Another stream of the same content, from its beginning. REQUIRES: InputFile::canReopen() of the file
    virtual std::unique_ptr<ContentStream> reopen() const = 0;
    virtual bool canReopen() const = 0;
    virtual std::uint64_t position() const = 0; ///< bytes taken from the file
    virtual std::uint64_t size() const = 0;     ///< of the file; 0: not known

    /// Why the content ended before its end; empty if it did not.
    const std::string& damage() const { return reason; }

  protected:
    ContentStream() = default;

    std::string reason;
};

} // namespace rksignal

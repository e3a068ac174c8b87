/// \file
/// Collects output in memory and writes it to a file descriptor in large pieces.
#pragma once

#include "output/OutputFile.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// Buffered output. Errors are kept, not thrown: whoever writes looks at closed() now and then.
///
/// Rows are written whole or not at all, also where the disk is full: each piece that is written ends with
/// a row, and what a regular file has taken of a piece that failed is cut off again. A row that is longer
/// than the buffer is the exception.
class OutputBuffer {
  public:
    /// `descriptor` stays the caller's. `name` is that of the output in messages.
    explicit OutputBuffer(int descriptor, std::string name = "standard output")
        : descriptor(descriptor), name(std::move(name)), buffer(capacity) {}
    /// `file` must outlive the buffer.
    explicit OutputBuffer(const OutputFile& file) : OutputBuffer(file.descriptor(), file.name()) {}
    /// Flushes.
    ~OutputBuffer() { flush(); }
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    void append(std::string_view text) {
        if (text.size() > capacity - used) {
            appendInPieces(text);
            return;
        }
        text.copy(buffer.data() + used, text.size());
        used += text.size();
    }

    static constexpr std::size_t mostReserved = 4096;

    /// Room for at least `size` bytes, at most `mostReserved`, to be confirmed by advance().
    char* reserve(std::size_t size) {
        if (size > capacity - used) {
            makeRoom(size);
        }
        return buffer.data() + used;
    }
    void advance(const char* end) { used = static_cast<std::size_t>(end - buffer.data()); }

    /// A row ends here.
    void endRow() { rows = used; }

    void flush();
    /// Flushes at the end of a command. \return false if the reader of the output has gone: it has seen
    /// enough, and nothing more is to be said
    /// \throws std::system_error if the output could not be written
    bool finish();

    bool isTerminal() const;
    int fileDescriptor() const { return descriptor; }

    /// Nothing can be written any more; what is appended is lost.
    bool closed() const { return failure != 0; }
    /// The error number of the first failure, 0 if there was none. EPIPE means that the reader has gone,
    /// which is not a fault.
    int error() const { return failure; }

  private:
    static constexpr std::size_t capacity = std::size_t{64} * 1024;

    void appendInPieces(std::string_view text);
    void makeRoom(std::size_t size);
    void write(std::size_t size);
    void cutOff(std::size_t written) const;

    int descriptor;
    std::string name;
    std::vector<char> buffer;
    std::size_t used = 0;
    std::size_t rows = 0; ///< bytes up to the end of the last row
    int failure = 0;
};

} // namespace rksignal

/// \file
/// Collects output in memory and writes it to a file descriptor in large pieces.
#pragma once

#include "output/OutputFile.h"

#include <atomic>
#include <cstddef>
#include <functional>
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
    /// Collects rows for `target`, which must outlive the buffer: as many as `capacity` bytes hold, and more
    /// only after a call of `awaitTurn`, which waits until it may be written to. What is not flushed is lost.
    OutputBuffer(OutputBuffer& target, std::size_t capacity, std::function<void()> awaitTurn)
        : descriptor(target.descriptor), name(target.name), target(&target), awaitTurn(std::move(awaitTurn)),
          capacity(capacity), buffer(capacity) {}
    /// Flushes.
    ~OutputBuffer() {
        if (target == nullptr) {
            flush();
        }
    }
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
    void endRow() {
        rows = used;
        if (target != nullptr && rows - (pieces.empty() ? 0 : pieces.back()) >= pieceSize) {
            pieces.push_back(rows);
        }
    }

    void flush();
    /// Flushes at the end of a command. \return false if the reader of the output has gone: it has seen
    /// enough, and nothing more is to be said
    /// \throws std::system_error if the output could not be written
    bool finish();

    bool isTerminal() const;
    int fileDescriptor() const { return descriptor; }

    /// Nothing can be written any more; what is appended is lost.
    bool closed() const { return error() != 0; }
    /// The error number of the first failure, 0 if there was none. EPIPE means that the reader has gone,
    /// which is not a fault.
    int error() const {
        return target != nullptr ? target->error() : failure.load(std::memory_order_relaxed);
    }
    /// Tries again after a failure, with what is appended from now on.
    void retry() { failure = 0; }

  private:
    static constexpr std::size_t pieceSize = std::size_t{64} * 1024; ///< of what is written at once

    void appendInPieces(std::string_view text);
    void makeRoom(std::size_t size);
    void write(std::size_t size);
    void writeThrough(std::string_view bytes);
    void cutOff(std::size_t written) const;

    int descriptor;
    std::string name;
    OutputBuffer* target = nullptr; ///< null: the descriptor
    std::function<void()> awaitTurn;
    std::size_t capacity = pieceSize;
    std::vector<char> buffer;
    std::vector<std::size_t> pieces; ///< ends of rows about `pieceSize` apart, for `target`
    std::size_t used = 0;
    std::size_t rows = 0;         ///< bytes up to the end of the last row
    std::atomic<int> failure = 0; ///< other threads look at it
};

} // namespace rksignal

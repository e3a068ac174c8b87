/// \file
/// A file, a pipe or a piece of memory that is read once, from its beginning to its end.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace rksignal {

class ContentStream;

/// Thrown by InputFile::read() after ReadControl::stop(). Caught by whoever owns the control.
struct ReadingStopped {};

/// What the inputs that are read together have in common.
class ReadControl {
  public:
    /// \throws Error if the system has no descriptor left
    ReadControl();
    ~ReadControl();
    ReadControl(const ReadControl&) = delete;
    ReadControl& operator=(const ReadControl&) = delete;

    /// Called whenever an input is about to be read, which may take as long as a pipe stays empty.
    std::function<void()> beforeRead;
    /// Called before waiting for an input that has nothing to read, if set.
    std::function<void()> beforeWait;

    /// Ends all reading, also one that waits. For any thread and for signal handlers.
    void stop() noexcept;
    bool isStopped() const { return stopped.load(std::memory_order_relaxed); }
    /// Waits until `descriptor` has something to read. \throws ReadingStopped
    void waitFor(int descriptor) const;

  private:
    std::atomic<bool> stopped = false;
    int wakeUp; ///< readable once stopped
};

/// An open input. Few files are kept open at a time: behind the first 256, a regular file is opened anew for
/// each block that is read.
class InputFile {
  public:
    /// Opens a file; `-` stands for standard input, which is not closed. `control`, if given, must outlive
    /// the file, here and below. \throws Error if `path` cannot be opened
    explicit InputFile(const std::string& path, ReadControl* control = nullptr);
    /// Reads from a copy of `descriptor`, whose position it shares. \throws Error if it cannot be copied
    InputFile(int descriptor, std::string name, ReadControl* control);
    /// `memory` must outlive the file.
    InputFile(std::span<const std::uint8_t> memory, std::string name, ReadControl* control);
    /// Gives the bytes of `content`.
    InputFile(std::unique_ptr<ContentStream> content, std::string name, ReadControl* control);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& path() const { return name; }
    /// The first bytes, as many as peekFurther() has got; read() gives them again.
    std::string_view peeked() const { return ahead; }
    /// Gets at least one more byte for peeked(). To be called before read().
    /// \return whether there was one \throws Error
    bool peekFurther();
    /// Reads up to `size` bytes, at least one, waiting for them if need be. \return their number; 0 at the
    /// end \throws Error; the text names the file. ReadingStopped
    std::size_t read(char* to, std::size_t size);
    /// Reads all the rest. \throws Error; also if it is damaged, or if a compressed file holds more than 256
    /// MB
    std::string readAll();
    /// Whether readAt() can be called: of a regular file and of memory, not of a pipe and of what is
    /// decompressed.
    bool canReadAt() const { return content == nullptr && (isRegular || handle < 0); }
    /// Reads up to `size` bytes from `offset` on, counted from where reading has begun. Leaves read() where
    /// it is. REQUIRES: canReadAt(). \return their number, fewer than `size` only at the end \throws Error,
    /// ReadingStopped
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t size);
    /// As it was given to the constructor.
    ReadControl* readControl() const { return control; }
    /// Number of bytes that read() and readAt() have given, at most that of the file. Of a
    /// compressed file, how many were taken from it.
    std::uint64_t position() const;
    /// In bytes; 0 when it is not known, as for a pipe. That of the compressed file, if it is one.
    std::uint64_t size() const;
    /// Why the content of a compressed file ended before its end; empty if it did not.
    const std::string& damage() const;

    /// Whether it can be read a second time, as regular files and memory can.
    bool canReopen() const;
    /// The same input from where it began. REQUIRES: canReopen() \throws Error
    std::unique_ptr<InputFile> reopen() const;

  private:
    void inspect();
    void park();
    std::size_t readFurther(char* to, std::size_t size);
    std::size_t readMemory(char* to, std::size_t size);
    std::size_t readParked(char* to, std::size_t size);
    int openParked();
    std::size_t readFileAt(std::uint64_t offset, char* to, std::size_t size);
    void enlarge(std::string& text, std::size_t size) const;
    [[noreturn]] void fail(const char* action) const;

    std::string name;
    ReadControl* control;
    int handle = -1; ///< -1: memory, or a parked file
    bool isOwned = true;
    std::string openedPath; ///< empty: opened as a descriptor
    bool isRegular = false;
    std::span<const std::uint8_t> memory; ///< what is left of it
    std::span<const std::uint8_t> whole;  ///< all of the memory
    std::unique_ptr<ContentStream> content;
    std::string parkedPath; ///< of a file that is not kept open; else empty
    dev_t device = 0;       ///< which file that is, here and below
    ino_t inode = 0;
    std::uint64_t length = 0; ///< in the beginning; 0: not known
    std::uint64_t start = 0;  ///< where a regular file stood when it was given
    std::uint64_t taken = 0;  ///< bytes read from the input
    std::uint64_t given = 0;
    std::string ahead; ///< read, but not given yet
};

} // namespace rksignal

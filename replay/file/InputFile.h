/// \file
/// A file or a pipe that is read once, from its beginning to its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace rksignal {

/// Called with the descriptor of a file whenever it is about to be read, which may take as long as a pipe
/// stays empty. Throws InputStopped to have the file end there.
using BeforeRead = std::function<void(int descriptor)>;

/// A trace that is being read ends before the message that would need more of its file, as it would at the
/// end of the file, but what it holds of that message is no damage.
struct InputStopped {};

/// An open file. `-` stands for standard input, which is not closed.
class InputFile {
  public:
    /// \throws std::system_error if `path` cannot be opened; the text names it.
    explicit InputFile(const std::string& path, BeforeRead beforeRead = {});
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& path() const { return name; }
    /// The first `size` bytes, or fewer if there are no more; read() gives them again. To be called before
    /// it. \throws as read()
    std::string_view peek(std::size_t size);
    /// Reads up to `size` bytes, at least one, waiting for them if need be. \return their number; 0 at the
    /// end \throws std::system_error; the text names the file; and what the caller's BeforeRead throws
    std::size_t read(char* to, std::size_t size);
    /// Reads all the rest. \throws std::system_error
    std::string readAll();
    /// Number of bytes that read() has given.
    std::uint64_t position() const { return given; }
    /// In bytes; 0 when it is not known, as for a pipe.
    std::uint64_t size() const;

  private:
    std::size_t readFurther(char* to, std::size_t size) const;
    void enlarge(std::string& text, std::size_t size) const;

    std::string name;
    BeforeRead beforeRead;
    int handle;
    std::string ahead; ///< read, but not given yet
    std::uint64_t given = 0;
};

} // namespace rksignal

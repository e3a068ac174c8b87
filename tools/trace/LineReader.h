/// \file
/// Reads a text file or a pipe line by line, in blocks, without ever holding more than one block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// An open file. `-` stands for standard input, which is not closed.
class InputFile {
  public:
    /// \throws std::system_error if `path` cannot be opened; the text names it.
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& path() const { return name; }
    /// Reads up to `size` bytes, at least one, waiting for them if need be. \return their number; 0 at the
    /// end \throws std::system_error; the text names the file.
    std::size_t read(char* to, std::size_t size) const;
    /// Reads all the rest. \throws std::system_error
    std::string readAll() const;
    /// In bytes; 0 when it is not known, as for a pipe.
    std::uint64_t size() const;

  private:
    std::string name;
    int handle;
};

/// The lines of a file. Memory is constant, whatever the length of the file and of its lines.
class LineReader {
  public:
    static constexpr std::size_t maxLength = 8192; ///< of a line, without its line end

    /// `file` must outlive the reader. `beforeRead`, if given, is called with position() whenever all
    /// complete lines have been given and the reader goes for more, which may take as long as a pipe stays
    /// empty.
    explicit LineReader(const InputFile& file, std::function<void(std::uint64_t)> beforeRead = {});

    /// Gives the next line without its line end (LF or CRLF). The last line needs none. `line` is good until
    /// the next call. A line of more than `maxLength` bytes gives its first `maxLength`; see tooLong().
    /// \return false at the end of the file
    /// \throws std::system_error if reading fails; the text names the file.
    bool next(std::string_view& line);

    bool tooLong() const { return overlong; }
    std::uint64_t lineNumber() const { return number; } ///< of the last line given, from 1
    std::uint64_t position() const { return bytes; }    ///< bytes taken from the file so far
    const std::string& path() const { return file.path(); }

  private:
    bool refill();
    bool lastLine(std::string_view& line);
    bool skipLine();
    std::string_view give(const char* first, const char* last);

    const InputFile& file;
    std::function<void(std::uint64_t)> beforeRead;
    std::vector<char> buffer;
    const char* at;  ///< first byte not given yet
    const char* end; ///< end of the bytes read
    bool overlong = false;
    bool unfinished = false; ///< the line given goes on behind `end`
    std::uint64_t number = 0;
    std::uint64_t bytes = 0;
};

} // namespace rksignal

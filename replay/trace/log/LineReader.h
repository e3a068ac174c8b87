/// \file
/// Reads a text file or a pipe line by line, in blocks, without ever holding more than one block.
#pragma once

#include "file/InputFile.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// The lines of a file. Memory is constant, whatever the length of the file and of its lines.
class LineReader {
  public:
    static constexpr std::size_t maxLength = 8192; ///< of a line, without its line end

    /// `file` must outlive the reader. It is read when all complete lines have been given.
    explicit LineReader(InputFile& file);

    /// Gives the next line without its line end (LF or CRLF). The last line needs none. `line` is good until
    /// the next call. A line of more than `maxLength` bytes gives its first `maxLength`; see tooLong().
    /// \return false at the end of the file
    /// \throws Error if reading fails; the text names the file.
    bool next(std::string_view& line) {
        const bool isPlain = number > 0 && !unfinished;
        const auto* const lineEnd = static_cast<const char*>(
            isPlain ? std::memchr(at, '\n', static_cast<std::size_t>(end - at)) : nullptr);
        if (lineEnd == nullptr || lineEnd - at > static_cast<std::ptrdiff_t>(maxLength)) [[unlikely]] {
            return nextOfAnyKind(line);
        }
        line = {at, lineEnd};
        line.remove_suffix(lineEnd != at && lineEnd[-1] == '\r' ? 1 : 0);
        at = lineEnd + 1;
        overlong = false;
        ended = true;
        ++number;
        return true;
    }

    /// For who knows most lines by sight: what has been read and not been given, from the start of a line on.
    /// Empty where next() has to look at the line itself.
    std::string_view ahead() const {
        return number > 0 && !unfinished ? std::string_view(at, static_cast<std::size_t>(end - at))
                                         : std::string_view();
    }
    /// The first `size` bytes of ahead() were a line with its line end, which has been given.
    void take(std::size_t size) {
        at += size;
        overlong = false;
        ended = true;
        ++number;
    }

    /// Goes on with these lines, instead of what is left. They must stay until all of them have been given.
    /// \param linesBefore that count as given; 0: they are the first ones of the file
    void restart(std::string_view lines, std::uint64_t linesBefore) {
        at = lines.data();
        end = at + lines.size();
        number = linesBefore;
        unfinished = false;
    }

    bool tooLong() const { return overlong; }
    bool hasLineEnd() const { return ended; } ///< of the last line given; only the file's last has none
    std::uint64_t lineNumber() const { return number; } ///< of the last line given, from 1
    const std::string& path() const { return file.path(); }

  private:
    bool nextOfAnyKind(std::string_view& line);
    bool refill();
    bool lastLine(std::string_view& line);
    bool skipLine();
    std::string_view give(const char* first, const char* last);

    InputFile& file;
    std::vector<char> buffer;
    const char* at;  ///< first byte not given yet
    const char* end; ///< end of the bytes read
    bool overlong = false;
    bool ended = false;
    bool unfinished = false; ///< the line given goes on behind `end`
    std::uint64_t number = 0;
};

} // namespace rksignal

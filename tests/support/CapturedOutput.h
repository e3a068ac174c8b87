/// \file
/// What the code under test writes to std::cout and std::cerr, as exact text.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

/// Diverts one stream into memory, from construction to destruction, with the number settings of a fresh
/// stream; afterwards the stream has its old buffer and settings again. One at a time.
class CapturedStream {
  public:
    explicit CapturedStream(std::ostream& stream)
        : stream(stream), flags(stream.flags()), precision(stream.precision()), fill(stream.fill()),
          original(stream.rdbuf(&buffer)) {
        stream.flags(std::ios_base::skipws | std::ios_base::dec | (flags & std::ios_base::unitbuf));
        stream.precision(6);
        stream.fill(' ');
    }
    ~CapturedStream() {
        stream.rdbuf(original);
        stream.flags(flags);
        stream.precision(precision);
        stream.fill(fill);
        stream.width(0);
    }
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    /// The text so far.
    std::string text() const { return buffer.str(); }
    /// The text since construction or the last `take`, which is forgotten.
    std::string take() {
        std::string taken = buffer.str();
        buffer.str({});
        buffer.flushedSize = 0;
        return taken;
    }
    /// Whether nothing has been written since the last flush.
    bool isFlushed() const { return buffer.flushedSize == buffer.str().size(); }

  private:
    struct Buffer : std::stringbuf {
        int sync() override {
            flushedSize = str().size();
            return 0;
        }
        std::size_t flushedSize = 0;
    };

    Buffer buffer;
    std::ostream& stream;
    std::ios_base::fmtflags flags;
    std::streamsize precision;
    char fill;
    std::streambuf* original;
};

/// Both streams. Google Test's own report does not go through them.
struct CapturedOutput {
    CapturedStream out{std::cout};
    CapturedStream err{std::cerr};
};

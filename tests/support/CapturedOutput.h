/// \file
/// What the code under test writes to std::cout and std::cerr, as exact text.
#pragma once

#include <iostream>
#include <locale>
#include <map>
#include <sstream>
#include <string>

/// Diverts one stream into memory, from construction to destruction, with the settings of a fresh stream;
/// afterwards the stream has its old buffer and settings again. One at a time.
class CapturedStream {
  public:
    explicit CapturedStream(std::ostream& stream) : stream(stream), original(stream.rdbuf(&buffer)) {
        settings.copyfmt(stream);
        stream.copyfmt(std::ios(nullptr));
    }
    ~CapturedStream() {
        stream.rdbuf(original);
        stream.copyfmt(settings);
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
    std::ios settings{nullptr};
    std::ostream& stream;
    std::streambuf* original;
};

/// Both streams. Google Test's own report does not go through them.
struct CapturedOutput {
    CapturedStream out{std::cout};
    CapturedStream err{std::cerr};

    /// What both have received since the last look, ordinary output first.
    std::string take() { return out.take() + err.take(); }
};

/// Numbers and truth values as nobody expects them in a line.
struct LocalNumbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_falsename() const override { return "falsch"; }
};

/// `text` with every mark replaced by what it stands for.
inline std::string filled(std::string text, const std::map<std::string, std::string>& marks) {
    for (const auto& [mark, meaning] : marks)
        for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += meaning.size())
            text.replace(at, mark.size(), meaning);
    return text;
}

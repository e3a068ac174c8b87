/// \file
/// What traces in text form have in common.
#pragma once

#include "trace/TraceSource.h"
#include "trace/log/LineReader.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

namespace rksignal {

/// A trace with at most one message a line.
class LineTrace : public TraceSource {
  protected:
    explicit LineTrace(std::unique_ptr<InputFile> file) : TraceSource(std::move(file)), reader(input()) {}

    /// Gives the next line that is neither empty nor too long. `text` is good until the next call.
    /// \return false at the end
    bool nextLine(std::string_view& text) {
        while (reader.next(text)) {
            if (reader.tooLong()) [[unlikely]] {
                countMalformed("line is too long");
            } else if (!text.empty()) {
                return true;
            }
        }
        return false;
    }
    /// As those of LineReader.
    std::string_view ahead() const { return reader.ahead(); }
    void take(std::size_t size) { reader.take(size); }

    /// Whether the last line was complete.
    bool hasLineEnd() const { return reader.hasLineEnd(); }
    /// Lines are counted from this byte of the file on.
    void countFrom(std::uint64_t byte) { start = byte; }
    /// Goes on with these lines, as LineReader::restart().
    void readLines(std::string_view lines, std::uint64_t linesBefore) { reader.restart(lines, linesBefore); }
    std::uint64_t linesRead() const { return reader.lineNumber(); }
    /// The last line could not be understood.
    void countMalformed(const char* reason);

  private:
    LineReader reader;
    std::uint64_t start = 0; ///< byte of the file at which the first line begins
};

} // namespace rksignal

/// \file
/// A trace, whatever its format, read message by message.
#pragma once

#include "file/InputFile.h"
#include "trace/TraceReceiver.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// What a trace holds that could not be used.
struct TraceDamage {
    static constexpr std::size_t maxTexts = 10;

    std::uint64_t malformed = 0;      ///< lines that could not be understood
    std::vector<std::string> texts;   ///< the first of them, as `FILE:LINE: reason`
    std::uint64_t dropped = 0;        ///< frames that the recorder says it lost
    std::uint64_t bytes = 0;          ///< of a binary trace, those that could not be understood
    std::uint64_t firstByte = 0;      ///< offset of the first of them
    std::vector<std::string> remarks; ///< what else could not be understood, as `FILE: text`
};

/// An open trace. Takes constant memory, whatever its length, and allocates nothing a message once its
/// buffers have grown.
class TraceSource {
  public:
    virtual ~TraceSource() = default;
    TraceSource(const TraceSource&) = delete;
    TraceSource& operator=(const TraceSource&) = delete;

    /// Goes on to the next message that can be understood. \return false at the end
    /// \throws std::system_error if reading fails; the text names the file
    virtual bool next() = 0;

    /// Of the message, in nanoseconds since 1970-01-01 UTC. REQUIRES here and below: next() returned true.
    std::uint64_t timestamp() const { return now; }
    /// Hands the message over, with `time` for its time stamp.
    virtual void deliver(TraceReceiver& receiver, std::uint64_t time) = 0;

    const std::string& path() const { return file->path(); }
    std::uint64_t position() const { return file->position(); } ///< bytes taken from the file so far
    std::uint64_t size() const { return file->size(); } ///< of the file; 0 if it is not known, as for a pipe
    const TraceDamage& damage() const { return found; } ///< complete at the end

  protected:
    explicit TraceSource(std::unique_ptr<InputFile> file) : file(std::move(file)) {}

    InputFile& input() { return *file; }

    std::uint64_t now = 0; ///< timestamp()
    TraceDamage found;

  private:
    std::unique_ptr<InputFile> file;
};

} // namespace rksignal

/// \file
/// One trace, whatever its format, read message by message.
#pragma once

#include "file/InputFile.h"
#include "trace/MessageSink.h"
#include "trace/Trace.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace rksignal {

/// An open trace. Takes constant memory, whatever its length, and allocates nothing a message once its
/// buffers have grown.
class TraceSource {
  public:
    virtual ~TraceSource() = default;
    TraceSource(const TraceSource&) = delete;
    TraceSource& operator=(const TraceSource&) = delete;

    /// Goes on to the next message that can be understood. \return false at the end
    /// \throws Error if reading fails; the text names the file
    virtual bool next() = 0;

    /// Of the message, in nanoseconds since 1970-01-01 UTC. REQUIRES here and below: next() returned true.
    std::uint64_t timestamp() const { return now; }
    /// Hands the message over, with `time` for its time stamp.
    void handOver(MessageSink& sink, std::uint64_t time) {
        ++found.messages;
        deliver(sink, time);
    }

    /// Hands over messages that follow the current one, as next() and handOver() do, for as long as that goes
    /// fast; none, unless overridden. Stops as Trace::run() does.
    virtual void handOverAhead(MessageSink& /*sink*/) {}

    /// Completes the report behind the last message: next() does so at the end; otherwise whoever reads no
    /// further.
    void conclude() {
        if (!isHeld && !std::exchange(isConcluded, true)) {
            completeReport();
            if (!file->damage().empty()) {
                remark(file->damage() + "; what stands before is used");
            }
        }
    }

    /// Leaves the report open until release(): messages are decoded after they have been read.
    void holdReport() { isHeld = true; }
    void releaseReport() {
        isHeld = false;
        conclude();
    }

    /// Of the message among all records, from 1; 0 if messages are no records.
    virtual std::uint64_t recordNumber() const { return 0; }
    /// A record could not be decoded, which has shown after it was delivered. For records in their order.
    virtual void countRefused(std::uint64_t /*number*/) {}

    /// Adds something that was met outside the messages.
    void remark(Remark remark) { found.remarks.add(std::move(remark)); }

    const std::string& path() const { return file->path(); }
    std::uint64_t position() const { return file->position(); } ///< bytes taken from the file so far
    std::uint64_t size() const { return file->size(); } ///< of the file; 0 if it is not known, as for a pipe
    const TraceReport& report() const { return found; } ///< but for the number of messages

  protected:
    virtual void deliver(MessageSink& sink, std::uint64_t time) = 0;

    /// Adds what was counted.
    virtual void completeReport() {}

    explicit TraceSource(std::unique_ptr<InputFile> file) : file(std::move(file)) {}

    InputFile& input() { return *file; }
    /// Adds an error at the file as a whole.
    void remark(std::string text) { found.remarks.add({path(), Severity::Error, std::move(text)}); }

    std::uint64_t now = 0; ///< timestamp()
    TraceReport found;

  private:
    std::unique_ptr<InputFile> file;
    bool isConcluded = false;
    bool isHeld = false;
};

} // namespace rksignal

/// \file
/// Recorded traffic: traces of all formats, read as one in the order of time.
#pragma once

#include "text/Error.h"
#include "text/Remark.h"
#include "trace/ChannelMap.h"
#include "trace/MessageSink.h"
#include "trace/TimeWindow.h"
#include "trace/TraceFormat.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// Lines of a text, told by the bytes at which they begin.
struct TracePart {
    std::uint64_t from = 0;
    std::uint64_t to = ~std::uint64_t{0}; ///< not included
};

/// How one trace is read.
struct TraceSettings {
    std::int64_t shift = 0;                 ///< nanoseconds added to its times, which stay within 64 bits
    std::optional<TraceFormat> format = {}; ///< nothing: it shows in the content
    /// Only these lines, so that several threads, processes or machines can read one log: parts that follow
    /// each other without a gap hold each line once, wherever they are cut. Of logs as isDivisible() says.
    /// An interface without digits needs a channel that was assigned. Remarks count lines from the first byte
    /// of the part on, and name it.
    std::optional<TracePart> part = {};
};

/// Where messages of a capture come from.
struct TraceInterface {
    std::size_t index = 0;               ///< in the file, or in its section, from 0
    std::string name;                    ///< empty if the file does not tell it
    std::string comment;                 ///< with its description; text of the file
    std::string link;                    ///< the kind of its packets
    std::optional<std::uint8_t> channel; ///< nothing while no packet has come
    std::uint64_t messages = 0;

    /// But for the number of messages.
    bool isSame(const TraceInterface& other) const {
        return index == other.index && name == other.name && comment == other.comment && link == other.link &&
               channel == other.channel;
    }
};

/// What was met in one trace. Complete once next() has returned false.
struct TraceReport {
    std::uint64_t messages = 0;             ///< delivered, those that are only counted included
    std::uint64_t damagedLines = 0;         ///< that could not be understood
    std::uint64_t damagedPackets = 0;       ///< the same of a capture
    std::uint64_t damagedBytes = 0;         ///< the same of a record file
    std::uint64_t damagedRecords = 0;       ///< whole, but none that their type allows
    std::uint64_t lost = 0;                 ///< frames that the recorder says it lost
    std::vector<TraceInterface> interfaces; ///< of a capture, in the order of the file
    /// What was damaged, at most ten lines one by one: all are errors. A line of a text has a `line`.
    RemarkList remarks = RemarkList(10);

    /// Whether everything could be understood.
    bool isSound() const { return remarks.count(Severity::Error) == 0; }
};

/// Traces, merged by the times of their messages: at equal times the one that was added first comes first.
/// The messages of one trace keep their order, also where its times go back; such a message counts as having
/// the latest time before it.
///
/// Takes constant memory a trace (256 KB, less for small files), whatever its length, and allocates nothing a
/// message. Any number of files can be added: only some hundred are kept open. A message costs a step of a
/// heap when the next one comes from another trace.
///
/// Files compressed by gzip, zstd, xz, bzip2 and lz4 are read as they are. Of an archive (tar, compressed or
/// not; zip) each file in it is a trace of its own, named `ARCHIVE/FILE`, in the order of the archive; the
/// numbers follow each other. Files in it that are no trace are passed over, with a Note in the report of its
/// first trace. What stands before a cut or damaged place is used, and an Error in the report says why the
/// rest is not. Compressed files take up to 0.5 MB more, of zstd and xz what their compression demands.
///
///     rksignal::Trace trace;
///     trace.addFile("powertrain.log");
///     trace.addFile("body.asc", {.shift = -1'500'000'000});
///     trace.run(sink);
///
/// For one thread, but for stop().
class RKREPLAY_EXPORT Trace {
  public:
    Trace();
    ~Trace();
    Trace(Trace&&) noexcept;
    Trace& operator=(Trace&&) noexcept;

    /// Opens a file or a pipe, `-` being standard input, and waits for its first bytes. One that stop() finds
    /// waiting counts as empty.
    /// \return its number, from 0 in the order of adding; of an archive, that of its first trace
    /// \throws Error if it cannot be opened, is no trace (the text says what it is, if it can be told), is
    /// an archive without a trace or with more than 256 files, or if it cannot be read in parts and shall be
    std::size_t addFile(const std::string& path, const TraceSettings& settings = {});
    /// Reads from where `descriptor` stands. A copy of it is used: the caller may close it. `name` stands for
    /// a path, here and below, in remarks.
    std::size_t addDescriptor(int descriptor, const std::string& name, const TraceSettings& settings = {});
    /// `bytes` must outlive the trace.
    std::size_t addMemory(std::span<const std::uint8_t> bytes, const std::string& name,
                          const TraceSettings& settings = {});

    /// The channels of interfaces, which candump logs and captures name instead of numbering them. The name
    /// of a capture's interface is `FILE:NAME` or `FILE:INDEX`; FILE names all interfaces of the capture.
    /// What shall hold for a trace must be assigned before it is added.
    ChannelMap& channels();
    const ChannelMap& channels() const;

    /// Only messages in this window are delivered, whatever the order in which they come. Reading ends ten
    /// seconds behind the window, once a message in or before it has come; what a clock that was set back
    /// puts behind that place is not found. Relative moments count from start(). To be set before reading.
    void setWindow(const TimeWindow& window);
    /// What the window has left out so far.
    const WindowReport& windowReport() const;
    /// The time of the first message of all traces, also when the window leaves it out; reads it, and goes
    /// on to the first message of the window, which next() will give. \return nothing if there is none
    /// \throws Error if reading fails
    std::optional<std::uint64_t> start();

    /// Goes on to the next message of all traces. \return false at their end, and when stopped
    /// \throws Error if reading fails
    bool next();
    /// Of the message, shifted, in nanoseconds since 1970-01-01 UTC. REQUIRES here and below: next() returned
    /// true.
    std::uint64_t timestamp() const;
    /// Number of the trace that the message comes from.
    std::size_t source() const;
    void deliver(MessageSink& sink);
    /// With another time stamp.
    void deliver(MessageSink& sink, std::uint64_t timestamp);

    /// Delivers all further messages, until stop() or until the sink is closed. A sink that has been opened
    /// again gets those behind with another call. \throws Error
    void run(MessageSink& sink);

    /// The same, with a second thread: one reads while the other delivers. `sink` is called by both, by one
    /// at a time. `handedOn`, if given, is called now and then: when some hundred messages have been
    /// delivered, and before a thread waits for a pipe. Reads everything: to be called once, and no other
    /// reading after it. Trace::onProgress() is called beside the sink. \throws Error as run(), when what
    /// came before has been delivered; what `sink` throws
    void runAhead(MessageSink& sink, const std::function<void()>& handedOn = {});

    /// Lets next() and run() end soon as they do at the end, also while they wait for a pipe: the message
    /// that is being delivered is the last one. For any thread and for signal handlers; lasts.
    void stop() noexcept;
    bool isStopped() const;

    /// Calls `progress` whenever a block of a trace is read, by the thread that reads: before it waits.
    void onProgress(std::function<void()> progress);
    /// Bytes taken from all traces so far.
    std::uint64_t position() const;
    /// Bytes of all traces, of compressed ones those of the file; 0 if one has no known length, as a pipe has
    /// not.
    std::uint64_t size() const;

    std::size_t count() const; ///< number of traces
    const std::string& name(std::size_t trace) const;
    TraceFormat format(std::size_t trace) const;
    /// Whether each line of it stands for itself, so that it can be read in parts: a log as `candump -l`
    /// writes it, in a regular file or in memory, not compressed, and without interfaces in its first lines
    /// that get their channels in the order in which they come.
    bool isDivisible(std::size_t trace) const;
    const TraceReport& report(std::size_t trace) const;
    /// Whether all traces could be understood so far.
    bool isSound() const;

  private:
    friend class TraceBlocks;
    struct State;

    class CandumpTrace* dividedLog(std::int64_t& shift) const;
    void beginAhead();
    void beforeWait(std::function<void()> action);
    std::uint64_t recordNumber() const;
    void countRefused(std::size_t trace, std::uint64_t record);
    void endAhead();

    std::unique_ptr<State> state;
};

} // namespace rksignal

/// \file
/// Record files that are written for days.
#pragma once

#include "command/RecordSink.h"
#include "rktrace/TraceRecord.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <streambuf>
#include <string>

namespace rksignal {

struct RotationSettings {
    std::string path;            ///< `FOLDER/NAME.rktrace`
    std::uint64_t bytes = 0;     ///< that a file has at most; 0: any number
    std::uint64_t duration = 0;  ///< nanoseconds until the next file is begun; 0: never
    std::size_t filesToKeep = 0; ///< older ones are removed; 0: all are kept
};

/// Writes messages to `NAME-20261122T093000Z.rktrace`, by the time (UTC) at which a file is begun; where
/// there is such a file, to `NAME-20261122T093000Z-2.rktrace`. No file is ever overwritten, and only files
/// with such a name are removed.
///
/// What was kept is in the file once flush() has returned, whatever becomes of the process then. When nothing
/// can be written, as on a full disk, that is said once, messages are held in memory up to `mostPending`
/// bytes, and each second it is tried again; messages that do not fit are counted.
class RecordFiles final : public RecordSink {
  public:
    static constexpr std::size_t mostPending = std::size_t{1} << 23;

    /// Begins the first file. `say` gets messages to the operator, without line end.
    /// \throws std::system_error if that fails
    RecordFiles(RotationSettings settings, std::function<void(const std::string&)> say);
    /// finish()
    ~RecordFiles() override;
    RecordFiles(const RecordFiles&) = delete;
    RecordFiles& operator=(const RecordFiles&) = delete;

    /// Hands over to the system what was kept, and ends the file if it is old enough. To be called every few
    /// milliseconds.
    void flush();

    /// Ends the file, after a last attempt to write what is in memory; what cannot be written is lost.
    void finish();

    void pass(PassedMessage /*kind*/, std::uint64_t /*timestamp*/) override { ++unheld; }

    std::uint64_t records() const { return keptRecords; } ///< kept, some of them perhaps still in memory
    std::uint64_t lost() const { return lostRecords; }    ///< for which there was no room
    std::uint64_t passed() const { return unheld; }       ///< of kinds that record files do not have
    std::uint64_t files() const { return begunFiles; }
    const std::string& name() const { return currentName; } ///< of the latest file

  private:
    /// Appends to a text.
    class TextStream : private std::streambuf, public std::ostream {
      public:
        explicit TextStream(std::string& text) : std::ostream(this), text(text) {}

      private:
        std::streamsize xsputn(const char* bytes, std::streamsize count) override {
            text.append(bytes, static_cast<std::size_t>(count));
            return count;
        }

        std::string& text;
    };

    void keep(std::span<const std::uint8_t> record, std::uint64_t timestamp) override;
    int begin();
    int open();
    int writePending();
    void end();
    void removeOld();
    void fail(int error);

    RotationSettings settings;
    std::function<void(const std::string&)> say;
    std::string folder;
    std::string stem; ///< of the names, `NAME-`
    std::string pending;
    TextStream stream{pending};
    std::optional<TraceRecordWriter> writer;
    std::deque<std::size_t> pendingSizes; ///< bytes of each record of which some are pending
    std::size_t sizedBytes = 0;           ///< of `pending`: without the head of a file behind them
    std::vector<std::uint8_t> stamped;
    std::string currentName;
    int descriptor = -1;
    std::uint64_t size = 0;    ///< of the file
    std::uint64_t begunAt = 0; ///< on the monotonic clock
    std::uint64_t retryAt = 0; ///< the same; 0: nothing has failed
    std::uint64_t lostBefore = 0;
    std::uint64_t keptRecords = 0;
    std::uint64_t lostRecords = 0;
    std::uint64_t unheld = 0;
    std::uint64_t begunFiles = 0;
};

} // namespace rksignal

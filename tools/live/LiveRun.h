/// \file
/// One run of `rksignal live`.
#pragma once

#include "Console.h"
#include "live/LiveIntake.h"
#include "live/LiveLog.h"
#include "live/LiveLoop.h"
#include "live/LiveOptions.h"
#include "live/LiveSession.h"
#include "live/LiveSources.h"
#include "live/RecordFiles.h"
#include "live/ServiceManager.h"

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace rksignal {

/// Reads all sources until they have ended or a signal comes, decodes what they give, and does every 20 ms
/// what is due: what was recorded is handed to the system, rows to their reader, and time goes on where no
/// messages come. Files are read again in a thread of its own, while messages are decoded by what is still in
/// force.
class LiveRun {
  public:
    /// Both must outlive the run.
    LiveRun(const LiveOptions& options, const Console& console);
    ~LiveRun();
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;

    /// \return the exit status \throws UsageError, Error, std::system_error if it cannot begin, or cannot
    /// write its rows any more
    int run();

  private:
    /// What is read again. The remarks are complete when the session is there.
    struct Reload {
        std::ostringstream remarks;
        std::future<std::unique_ptr<LiveSession>> session;
    };

    /// The time of messages, also between them: that of the last one plus what has passed since.
    struct MessageClock {
        std::uint64_t time;
        std::uint64_t readAt; ///< on the monotonic clock

        std::uint64_t at(std::uint64_t now) const { return time + (now - readAt); }
    };

    std::unique_ptr<LiveSession> load(std::ostream& remarks);
    void openOutput();
    void openRecord();
    void sayWhatIsPrivate();
    void schedule();
    void tick();
    void passTime();
    void flushRows();
    void startReload();
    void finishReload();
    void replaceSession(std::unique_ptr<LiveSession> next);
    void printStatistics(double seconds);
    void finish();
    void summarise();
    int status() const;

    const LiveOptions& options;
    const Console& console;
    LiveLog log;
    ServiceManager manager;
    LiveLoop loop;
    LiveSources sources;
    ChannelMap assigned; ///< by the arguments of interfaces
    TimeFormat times;
    MessageClock clock;
    int outputDescriptor = -1; ///< of a file that was opened; else -1
    std::optional<OutputBuffer> out;
    std::optional<FiringRows> rows;
    std::unique_ptr<LiveSession> session;
    std::unique_ptr<RecordFiles> records;
    LiveIntake intake;
    std::unique_ptr<Reload> reload; ///< null: none is under way
    bool outputFailed = false;      ///< and that was said
    bool definitionsAreSound = true;
    std::uint64_t messagesBefore = 0; ///< when statistics were printed last
    std::uint64_t valuesBefore = 0;
    std::uint64_t unwrittenWindows = 0; ///< of sessions that are over
};

} // namespace rksignal

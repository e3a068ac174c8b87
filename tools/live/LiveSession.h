/// \file
/// What is in force between two reloads: definitions and conditions, and what follows them.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Triggers.h"
#include "live/LiveLog.h"
#include "live/LiveOptions.h"
#include "output/InputSet.h"
#include "trace/ChannelMap.h"
#include "trigger/FiringExplanations.h"
#include "trigger/FiringRows.h"
#include "trigger/WindowWriter.h"
#include "value/Replay.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

namespace rksignal {

/// Definitions and conditions as they were in their files when it was made, and everything that is decoded by
/// them. For one thread at a time; another one may make it than uses it.
class LiveSession {
  public:
    /// Reads all files. What is remarkable in them goes to `remarks`. `channels` knows the interfaces that
    /// were given a channel. References must outlive the session, but for `remarks`.
    /// \throws UsageError, Error if a file cannot be used at all
    LiveSession(const LiveOptions& options, ChannelMap channels, const TimeFormat& times, LiveLog& log,
                std::ostream& remarks);

    /// Says where firings go: to `rows`, if they are not to be explained in `out`.
    /// \throws UsageError, std::system_error if windows cannot be written
    void attach(FiringSink* rows, OutputBuffer& out);
    /// Messages come from now on, which is the time `now`. Values that signals have already count.
    void begin(std::uint64_t now) { triggers.resume(now); }

    /// Decodes what it receives.
    Replay& decoder() { return replay; }
    /// Who gets each message behind that; null: nobody.
    MessageSink* messages() { return windows ? windows->messages() : nullptr; }
    /// Time has come so far, though no message says so.
    void reach(std::uint64_t now) { triggers.reached(now); }
    /// No more messages come: windows are written as far as they have come.
    void finish();

    Catalog& signals() { return catalog; }
    const ChannelMap& channels() const { return interfaces; } ///< with those that definitions name
    const InputSet& files() const { return inputs; }
    bool closed() const { return triggers.closed(); }
    /// Whether something in the files is in error, and is not used.
    bool hasErrors() const { return catalog.remarks().count(Severity::Error) > 0; }

    std::uint64_t values() const { return counter.values; } ///< written so far
    std::uint64_t stale() const { return staleSignals; }    ///< signals that are so now
    std::uint64_t unwrittenWindows() const { return windows ? windows->unwritten() : 0; }
    /// Writes what conditions and windows came to.
    void summarise(std::ostream& out) const;

  private:
    struct ValueCounter final : ValueSink {
        void written(const MessageInfo& /*message*/, std::span<const unsigned long> ids) override {
            values += ids.size();
        }
        std::uint64_t values = 0;
    };

    std::vector<Condition> loadAll(std::ostream& remarks);
    TriggerSettings settings();
    std::optional<std::uint64_t> timeoutOf(std::size_t signal) const;
    void tell(const Timeout& timeout);

    const LiveOptions& options;
    ChannelMap interfaces;
    TimeFormat times;
    LiveLog& log;
    std::optional<std::uint64_t> timeout; ///< of signals without a cycle
    InputSet inputs;
    Catalog catalog;
    Triggers triggers;
    ValueCounter counter;
    std::optional<FiringExplanations> explanations;
    std::optional<WindowWriter> windows;
    Replay replay;
    std::uint64_t staleSignals = 0;
};

} // namespace rksignal

/// \file
/// Where live messages come from.
#pragma once

#include "text/Error.h"
#include "text/Remark.h"
#include "trace/MessageSink.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// A source that gives nothing any more. Thrown by LiveSource::read() alone, so that it can be told from what
/// the sink throws.
class RKREPLAY_EXPORT SourceError : public Error {
  public:
    using Error::Error;
    SourceError(const SourceError&) = default;
    SourceError& operator=(const SourceError&) = default;
    ~SourceError() override;
};

struct LiveCounts {
    std::uint64_t messages = 0;      ///< handed over, those that are only counted included
    std::uint64_t lost = 0;          ///< that the source knows it lost, at least
    std::uint64_t damaged = 0;       ///< that could not be understood
    std::uint64_t interruptions = 0; ///< times that the interface went down; it goes on when it is up again
};

/// One bus, one network port, or one recorded drive: messages as they come. A LiveLoop reads any number of
/// them. For one thread.
class RKREPLAY_EXPORT LiveSource {
  public:
    virtual ~LiveSource();
    LiveSource(const LiveSource&) = delete;
    LiveSource& operator=(const LiveSource&) = delete;

    const std::string& name() const { return itsName; } ///< `can0`, `udp 127.0.0.1:20000`, `drive.log`

    /// Readable when read() has something to do; -1: due() alone says so.
    virtual int descriptor() const { return -1; }
    /// When read() has something to do, whether or not the descriptor is readable: on the clock of
    /// monotonicTime(), 0 being at once. Nothing: the descriptor alone says so.
    virtual std::optional<std::uint64_t> due() const { return std::nullopt; }
    /// Hands over what is there, as the sink takes it, without waiting: a bounded number of messages, so that
    /// other sources have their turn. What a closed sink does not take stays for the next call.
    /// \throws SourceError if the source is broken: it is not to be read any more
    virtual void read(MessageSink& sink) = 0;
    /// Nothing more will come.
    virtual bool ended() const { return false; }

    virtual LiveCounts counts() const { return counted; }
    /// What could not be understood, the first ten one by one.
    const RemarkList& remarks() const { return notes; }

  protected:
    explicit LiveSource(std::string name);

    /// Counts a message that cannot be understood. \param reason of static lifetime
    void countDamage(const char* reason);

    LiveCounts counted;

  private:
    std::string itsName;
    RemarkList notes;
};

/// CLOCK_MONOTONIC in nanoseconds.
RKREPLAY_EXPORT std::uint64_t monotonicTime();

} // namespace rksignal

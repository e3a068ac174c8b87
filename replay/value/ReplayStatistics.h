/// \file
/// What a replay met.
#pragma once

#include "trace/MessageSink.h"
#include "value/UnknownMessages.h"
#include "value/ValueSink.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <numeric>

namespace rksignal {

/// What became of the messages of SAE J1939 that come in several frames.
struct TransportStatistics {
    std::uint64_t messages = 0; ///< put together
    /// Given up: packets are missing, it timed out, was aborted, or another one took its place.
    std::uint64_t incomplete = 0;
    std::uint64_t lostPackets = 0;  ///< missing in these, as far as they were sent
    std::uint64_t strayPackets = 0; ///< too late, too short, or with a number that its message does not have
    std::uint64_t open = 0;         ///< not complete yet
};

/// SOME/IP messages that lie in several frames.
struct SomeIpStatistics {
    std::uint64_t assembled = 0; ///< messages that were put together, from segments of SOME/IP-TP or of TCP
    /// Segments that are missing: of SOME/IP-TP, also those that may still come, and of TCP at least one a
    /// gap.
    std::uint64_t lostSegments = 0;
};

/// Counts of messages, in constant memory. What was damaged stands in TraceReport.
struct ReplayStatistics {
    std::array<std::uint64_t, signalKinds> decoded{};   ///< by SignalKind: messages with a definition
    std::array<std::uint64_t, signalKinds> unknown{};   ///< messages without one
    std::array<std::uint64_t, passedMessages> passed{}; ///< by PassedMessage
    std::uint64_t records = 0;                          ///< raw ones, which are also counted by their kind
    std::uint64_t droppedRecords = 0;                   ///< of those, unknown ones that were not looked into
    SomeIpStatistics someIp;
    TransportStatistics transport;   ///< only of parameter groups with a definition
    UnknownMessages unknownMessages; ///< those of `unknown`, by identifier

    void countUnknown(const MessageOrigin& origin, std::uint32_t identifier) {
        ++unknown[static_cast<std::size_t>(origin.kind)];
        unknownMessages.count(origin, identifier);
    }

    /// Adds what came after this, but for `someIp` and `transport`, which do not add up.
    void add(const ReplayStatistics& later) {
        addTo(decoded, later.decoded);
        addTo(unknown, later.unknown);
        addTo(passed, later.passed);
        records += later.records;
        droppedRecords += later.droppedRecords;
        unknownMessages.add(later.unknownMessages);
    }

    /// All messages.
    std::uint64_t messages() const { return sum(decoded) + sum(unknown) + sum(passed); }

    template <class Counts>
    static std::uint64_t sum(const Counts& counts) {
        return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    }

  private:
    template <class Counts>
    static void addTo(Counts& counts, const Counts& later) {
        std::transform(counts.begin(), counts.end(), later.begin(), counts.begin(), std::plus<>());
    }
};

} // namespace rksignal

/// \file
/// What an audit has found.
#pragma once

#include "audit/AuditRule.h"
#include "definition/SignalKind.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// One moment of a finding.
struct Occurrence {
    std::uint64_t time; ///< nanoseconds since 1970-01-01 UTC
    std::string text;   ///< what was there: `is 0x5A, xor gives 0xA5`
};

/// What is odd about a frame identity, a signal or a channel by one rule, however often it is so.
struct Finding {
    AuditRule rule = AuditRule::Checksum;
    Severity severity = Severity::Error;
    SignalKind kind = SignalKind::Can;
    std::optional<std::uint8_t> channel; ///< none: of inputs, and of definitions for all channels
    std::string identifier;              ///< as identityText(); empty of signals of Ethernet and of channels
    std::string message;                 ///< names of the definitions of the frame; may be empty
    std::string instance;                ///< of a signal, or empty
    std::string text;                    ///< what is odd, in few words
    std::uint64_t count = 0;             ///< how often; 0: not a matter of moments
    std::uint64_t first = 0;             ///< the first time; nanoseconds, 0 if `count` is
    std::uint64_t last = 0;              ///< the last time; both of gaps: among `occurrences`
    std::vector<Occurrence> occurrences; ///< by time; the first ones, but of gaps the longest
};

} // namespace rksignal

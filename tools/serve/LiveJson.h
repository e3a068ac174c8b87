/// \file
/// What `rksignal serve` tells, as JSON. All are called under the lock of the state, see LiveState::read().
///
/// Times in what the page reads are microseconds since LiveState::Contents::origin; in what is documented for
/// others, nanoseconds since 1970-01-01 UTC.
#pragma once

#include "serve/LiveState.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

using Live = LiveState::Contents;

/// `{"run": ..., "signals": [...], "conditions": [...]}`: what does not change.
std::string signalsJson(const Live& live, std::string_view program);

/// `{"time": ..., "values": [...]}`: the latest values, for programs.
std::string valuesJson(const Live& live);

/// `{"conditions": [...]}`: with their firings and the explanation of this moment, which tells why a
/// condition is true, false or unknown.
std::string triggersJson(const Live& live);

/// `{"curves": [...]}` of the signals, in their order: the last `span` nanoseconds for a picture of so many
/// columns.
std::string curvesJson(const Live& live, std::span<const std::size_t> signals, std::uint64_t span,
                       std::size_t columns);

/// Puts an event of the stream together: what is newer than `seen`, a version; `seen` becomes that of the
/// event. The text is put into `out` in place of what is there.
///
///     data:
///     {"now":12000345,"values":[[3,417,12000112,91]],"connections":[[7,"removed"]],"states":[[0,true,2]]}
///
/// A value is index, number before scaling or null, time, and how many values there were.
void writeEvent(const Live& live, std::uint64_t& seen, std::string& out);

/// `live`, `no value`, `missing`, ...
std::string_view connectionName(SlotReplay::Connection connection);

} // namespace rksignal

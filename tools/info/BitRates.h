/// \file
/// The bit rates of buses, and the load that follows from them.
#pragma once

#include "survey/Survey.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

struct BitRate {
    std::uint64_t nominal = 0; ///< bits a second
    std::uint64_t data = 0;    ///< of CAN FD; the nominal one if it is not given
};

/// The part of the time in which a bus is occupied, from 0 to 1; more where the bit rate is wrong.
struct BusLoad {
    double least; ///< without dynamic stuff bits
    double most;  ///< with as many as there can be
};

/// By bus and channel.
class BitRates {
  public:
    /// Arguments of the form `[BUS:][CHANNEL=]RATE[/DATARATE]`, BUS being `can`, which it is by itself, or
    /// `lin`; `500000`, `0=500k/2M`, `lin:1=19200`. Without CHANNEL the rate holds for all channels of the
    /// bus that have none of their own. \throws UsageError
    explicit BitRates(const std::vector<std::string>& arguments);

    /// The load of a channel in `nanoseconds`; nothing without a bit rate, or without time.
    std::optional<BusLoad> loadOf(const ChannelStatistics& channel, std::uint64_t nanoseconds) const;

  private:
    void add(const std::string& argument);

    std::map<std::pair<SignalKind, std::optional<std::uint8_t>>, BitRate> rates;
};

} // namespace rksignal

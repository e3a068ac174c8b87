#include "info/BitRates.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <algorithm>

namespace rksignal {
namespace {

/// `500000`, `500k` or `2M`; not 0.
std::optional<std::uint64_t> parseRate(std::string_view text) {
    const std::uint64_t unit = text.ends_with('k') ? 1000 : text.ends_with('M') ? 1'000'000 : 1;
    text.remove_suffix(unit > 1 ? 1 : 0);
    const auto number = parseNumber<std::uint32_t>(text);
    return number && *number > 0 ? std::optional(*number * unit) : std::nullopt;
}

} // namespace

BitRates::BitRates(const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        add(argument);
    }
}

void BitRates::add(const std::string& argument) {
    std::string_view text(argument);
    SignalKind bus = SignalKind::Can;
    for (const SignalKind kind : {SignalKind::Can, SignalKind::Lin}) {
        const std::string prefix = std::string(kindName(kind)) + ':';
        if (text.starts_with(prefix)) {
            bus = kind;
            text.remove_prefix(prefix.size());
        }
    }
    std::optional<std::uint8_t> channel;
    bool isChannel = true;
    if (const std::size_t equals = text.find('='); equals != text.npos) {
        channel = parseNumber<std::uint8_t>(text.substr(0, equals));
        isChannel = channel.has_value();
        text.remove_prefix(equals + 1);
    }
    const std::size_t slash = std::min(text.find('/'), text.size());
    const auto nominal = parseRate(text.substr(0, slash));
    const auto data = slash < text.size() ? parseRate(text.substr(slash + 1)) : nominal;
    if (!isChannel || !nominal || !data) {
        throw UsageError("--bitrate " + argument +
                         ": not of the form [BUS:][CHANNEL=]RATE[/DATARATE], such as 500k, 0=500k/2M or "
                         "lin:1=19200");
    }
    rates[{bus, channel}] = {*nominal, *data};
}

std::optional<BusLoad> BitRates::loadOf(const ChannelStatistics& channel, std::uint64_t nanoseconds) const {
    auto rate = rates.find({channel.kind, channel.channel});
    rate = rate != rates.end() ? rate : rates.find({channel.kind, std::nullopt});
    if (rate == rates.end() || nanoseconds == 0) {
        return std::nullopt;
    }
    const auto part = [&](std::uint64_t nominal, std::uint64_t data) {
        const double seconds = static_cast<double>(nominal) / static_cast<double>(rate->second.nominal) +
                               static_cast<double>(data) / static_cast<double>(rate->second.data);
        return seconds * 1e9 / static_cast<double>(nanoseconds);
    };
    return BusLoad{part(channel.bits.nominal, channel.bits.data),
                   part(channel.bits.mostNominal, channel.bits.mostData)};
}

} // namespace rksignal

#include "command/AbsentChannels.h"

#include "output/ListText.h"

#include <bitset>
#include <cstdint>
#include <map>
#include <ostream>
#include <string_view>
#include <unordered_map>

namespace rksignal {
namespace {

using ChannelSet = std::bitset<256>;

std::uint32_t identifierOf(const MessageDecoder& decoder) {
    return std::uint32_t{decoder.message().extended} << 31 | decoder.message().id;
}

/// The channels on which CAN frames came, with a definition or without.
struct CameOn {
    CameOn(const Catalog& catalog, const ReplayStatistics& statistics) {
        for (const auto& decoder : catalog.decoders()) {
            enter(identifierOf(*decoder), decoder->statistics().channels);
        }
        for (const UnknownMessage& message : statistics.unknownMessages.of(SignalKind::Can)) {
            enter(message.identifier, ChannelSet().set(message.origin.channel.value_or(0)));
        }
    }

    ChannelSet any;
    std::unordered_map<std::uint32_t, ChannelSet> byIdentifier;

  private:
    void enter(std::uint32_t identifier, const ChannelSet& channels) {
        any |= channels;
        byIdentifier[identifier] |= channels;
    }
};

std::string namesOf(const ChannelSet& set, const ChannelMap& channels) {
    std::string names;
    for (std::size_t channel = 0; channel < set.size(); ++channel) {
        if (set[channel]) {
            names += (names.empty() ? "" : ", ") + channels.nameOf(static_cast<std::uint8_t>(channel));
        }
    }
    return names;
}

/// A message whose frames came on other channels than the one that it is defined for.
struct Misplaced {
    std::string_view message;
    ChannelSet cameOn;
};

/// By the channel that the messages are defined for.
std::map<std::uint8_t, std::vector<Misplaced>> findMisplaced(const Catalog& catalog,
                                                             const ReplayStatistics& statistics) {
    const CameOn came(catalog, statistics);
    std::map<std::uint8_t, std::vector<Misplaced>> misplaced;
    for (const auto& decoder : catalog.decoders()) {
        const auto channel = decoder->channel();
        const ChannelSet& others = came.byIdentifier.at(identifierOf(*decoder));
        if (channel && !came.any[*channel] && others.any()) {
            misplaced[*channel].push_back({decoder->message().name, others});
        }
    }
    return misplaced;
}

} // namespace

std::vector<std::string> absentInterfaces(const Catalog& catalog, const ReplayStatistics& statistics,
                                          const ChannelMap& channels) {
    return channels.absent(CameOn(catalog, statistics).any);
}

void printMisplaced(std::ostream& out, const Catalog& catalog, const ReplayStatistics& statistics,
                    const ChannelMap& channels) {
    for (const auto& [channel, messages] : findMisplaced(catalog, statistics)) {
        out << "no frame came on " << channels.nameOf(channel)
            << "; messages defined for it came on others: ";
        printList(out, messages, [&](const Misplaced& each) {
            out << each.message << " (" << namesOf(each.cameOn, channels) << ')';
        });
    }
}

} // namespace rksignal

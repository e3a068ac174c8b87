#include "command/NearMatches.h"

#include "catalog/ParameterGroup.h"
#include "output/ListText.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <ostream>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

using ChannelSet = std::bitset<256>;

constexpr std::uint32_t extendedFlag = std::uint32_t{1} << 31;
constexpr std::uint32_t groupFlag = std::uint32_t{1} << 30;
constexpr std::uint32_t anySourceFlag = std::uint32_t{1} << 29;

/// What a definition matches: an identifier, flagged if it has 29 bits; or a parameter group of one source,
/// or of any.
std::uint32_t matchOf(const MessageDefinition& message) {
    if (!message.isParameterGroup) {
        return message.id | (message.extended ? extendedFlag : 0);
    }
    return j1939::sourceOf(message.id) == j1939::nullAddress
               ? groupFlag | anySourceFlag | j1939::groupOf(message.id)
               : groupFlag | j1939::groupAndSource(message.id);
}

/// The channels on which CAN frames came, with a definition or without.
struct CameOn {
    CameOn(const Catalog& catalog, const ReplayStatistics& statistics) {
        for (const auto& decoder : catalog.decoders()) {
            enter(matchOf(decoder->message()), decoder->statistics().channels);
        }
        for (const UnknownMessage& message : statistics.unknownMessages.of(SignalKind::Can)) {
            const auto channel = ChannelSet().set(message.origin.channel.value_or(0));
            enter(message.identifier, channel);
            if ((message.identifier & extendedFlag) != 0) {
                enter(groupFlag | j1939::groupAndSource(message.identifier), channel);
                enter(groupFlag | anySourceFlag | j1939::groupOf(message.identifier), channel);
            }
        }
    }

    ChannelSet any;
    std::unordered_map<std::uint32_t, ChannelSet> byMatch;

  private:
    void enter(std::uint32_t match, const ChannelSet& channels) {
        any |= channels;
        byMatch[match] |= channels;
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
        const ChannelSet& others = came.byMatch.at(matchOf(decoder->message()));
        if (channel && !came.any[*channel] && others.any()) {
            misplaced[*channel].push_back({decoder->message().name, others});
        }
    }
    return misplaced;
}

/// What would have to be ignored.
enum class Mismatch : std::uint8_t { Source, Width, Channel };
constexpr std::array<const char*, 3> differenceNames = {"source address",
                                                        "width of the identifier (11 or 29 bits)", "channel"};

/// Of `FILE:LINE` or `FILE#/can/3`.
std::string_view fileOf(std::string_view place) {
    return place.substr(0, std::min(place.rfind("#/"), place.rfind(':')));
}

/// Counts unknown frames by what keeps them from a definition.
class NearMatches {
  public:
    NearMatches(const Catalog& catalog, const ReplayStatistics& statistics) {
        const ChannelSet came = CameOn(catalog, statistics).any;
        for (const auto& decoder : catalog.decoders()) {
            const MessageDefinition& message = decoder->message();
            const std::string_view file = fileOf(message.place);
            enterSource(message, file);
            if (!message.isParameterGroup) {
                enter(Mismatch::Width, matchOf(message) ^ extendedFlag, channelOf(message), file);
            }
            // one that has frames is where it belongs, and that no frame came on its channel is said
            // elsewhere
            if (message.channel && came[*message.channel] && decoder->statistics().channels.none()) {
                enter(Mismatch::Channel, matchOf(message), anyChannel, file);
            }
        }
        for (const UnknownMessage& message : statistics.unknownMessages.of(SignalKind::Can)) {
            count(message);
        }
        countChannels(catalog, statistics, SignalKind::Lin);
        countChannels(catalog, statistics, SignalKind::FlexRay);
    }

    /// By file, then as the differences are named.
    const std::map<std::pair<std::string_view, Mismatch>, std::uint64_t>& frames() const { return counts; }

  private:
    static constexpr int anyChannel = -1;
    using Key = std::tuple<Mismatch, int, std::uint32_t>; // the second is the channel

    static int channelOf(const MessageDefinition& message) {
        return message.channel ? int{*message.channel} : anyChannel;
    }

    void enterSource(const MessageDefinition& message, std::string_view file) {
        if (message.isParameterGroup && j1939::sourceOf(message.id) != j1939::nullAddress) {
            enter(Mismatch::Source, groupFlag | j1939::groupOf(message.id), channelOf(message), file);
        } else if (message.extended && !message.isParameterGroup) {
            enter(Mismatch::Source, message.id >> 8, channelOf(message), file);
        }
    }

    void enter(Mismatch difference, std::uint32_t match, int channel, std::string_view file) {
        files[{difference, channel, match}].insert(file);
    }

    void count(const UnknownMessage& message) {
        const std::uint32_t id = message.identifier & ~extendedFlag;
        const int channel = message.origin.channel.value_or(0);
        std::set<std::pair<std::string_view, Mismatch>> found;
        const auto look = [&](Mismatch difference, std::uint32_t match) {
            for (const int bound : {anyChannel, channel}) {
                const auto entry = files.find({difference, bound, match});
                if (entry != files.end()) {
                    for (const std::string_view file : entry->second) {
                        found.emplace(file, difference);
                    }
                }
            }
        };
        look(Mismatch::Width, message.identifier);
        look(Mismatch::Channel, message.identifier);
        if (id != message.identifier) {
            look(Mismatch::Source, id >> 8);
            look(Mismatch::Source, groupFlag | j1939::groupOf(id));
            look(Mismatch::Channel, groupFlag | j1939::groupAndSource(id));
            look(Mismatch::Channel, groupFlag | anySourceFlag | j1939::groupOf(id));
        }
        for (const auto& match : found) {
            counts[match] += message.count;
        }
    }

    /// Of definitions of another bus that have a channel, by frame identifier or slot.
    void countChannels(const Catalog& catalog, const ReplayStatistics& statistics, SignalKind kind) {
        std::unordered_map<std::uint32_t, std::set<std::string_view>> unseen;
        for (const std::size_t signal : catalog.group(kind).members) {
            const MessageDefinition& message = *catalog.origin(signal).message;
            if (message.channel && !catalog.isSeen(signal)) {
                unseen[message.id].insert(fileOf(message.place));
            }
        }
        for (const UnknownMessage& message : statistics.unknownMessages.of(kind)) {
            const auto entry = unseen.find(message.identifier);
            if (entry != unseen.end()) {
                for (const std::string_view file : entry->second) {
                    counts[{file, Mismatch::Channel}] += message.count;
                }
            }
        }
    }

    std::map<Key, std::set<std::string_view>> files;
    std::map<std::pair<std::string_view, Mismatch>, std::uint64_t> counts;
};

} // namespace

std::vector<std::string> absentInterfaces(const Catalog& catalog, const ReplayStatistics& statistics,
                                          const ChannelMap& channels) {
    return channels.absent(CameOn(catalog, statistics).any);
}

NearFrames framesNear(const Catalog& catalog, const ReplayStatistics& statistics,
                      const MessageDefinition& message) {
    NearFrames near;
    if (message.kind != SignalKind::Can) {
        for (const UnknownMessage& unknown : statistics.unknownMessages.of(message.kind)) {
            near.sameIdentifier[unknown.origin.channel.value_or(0)] =
                near.sameIdentifier[unknown.origin.channel.value_or(0)] || unknown.identifier == message.id;
        }
        return near;
    }
    const CameOn came(catalog, statistics);
    const auto channelsOf = [&came](std::uint32_t match) {
        const auto entry = came.byMatch.find(match);
        return entry != came.byMatch.end() ? entry->second : ChannelSet();
    };
    near.sameIdentifier = channelsOf(matchOf(message));
    if (!message.isParameterGroup) {
        near.otherWidth = channelsOf(matchOf(message) ^ extendedFlag);
    }
    if (message.extended && near.sameIdentifier.none()) {
        near.otherSource = channelsOf(groupFlag | anySourceFlag | j1939::groupOf(message.id));
    }
    return near;
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

void printNearMatches(std::ostream& out, const Catalog& catalog, const ReplayStatistics& statistics) {
    const NearMatches matches(catalog, statistics);
    for (const auto& [match, frames] : matches.frames()) {
        const auto& [file, difference] = match;
        out << frames << " frame" << (frames == 1 ? "" : "s") << " would match " << file << " if the "
            << differenceNames[static_cast<std::size_t>(difference)] << " were ignored\n";
    }
}

} // namespace rksignal

#include "value/ReplayStatistics.h"

#include "catalog/Catalog.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <numeric>
#include <ostream>
#include <span>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t maxListed = 10; // of what is listed by name

/// By PassedMessage, and whether the summary also says that there were none.
constexpr std::pair<const char*, bool> passedNames[passedMessages] = {{"remote", true},
                                                                      {"error", true},
                                                                      {"CAN XL (not supported)", false},
                                                                      {"not recorded in full", false},
                                                                      {"of other kinds", false}};

constexpr unsigned kindShift = 48;
constexpr unsigned channelShift = 32;

std::uint64_t unknownKey(const MessageOrigin& origin, std::uint32_t identifier) {
    return static_cast<std::uint64_t>(origin.kind) << kindShift |
           std::uint64_t{origin.channel.value_or(0)} << channelShift | identifier;
}

/// There is one GPS receiver, and Ethernet frames have addresses without end.
bool hasIdentifiers(SignalKind kind) {
    return kind != SignalKind::Gps && kind != SignalKind::Ethernet;
}

SignalKind kindOf(std::uint64_t key) {
    return static_cast<SignalKind>(key >> kindShift);
}

/// Writes the hexadecimal digits of an identifier.
void printHex(std::ostream& out, std::uint64_t identifier, int digits) {
    const char fill = out.fill('0');
    out << std::hex << std::uppercase << std::setw(digits) << identifier << std::dec << std::nouppercase;
    out.fill(fill);
}

/// Writes what an unknown message is known by: a CAN identifier with 3 digits, or 8 if it is extended, and
/// the interface it came from; a LIN identifier or a FlexRay slot with its channel; other numbers as they
/// are.
void printUnknownKey(std::ostream& out, std::uint64_t key, const ChannelMap& channels) {
    const auto channel = static_cast<std::uint8_t>(key >> channelShift);
    switch (kindOf(key)) {
    case SignalKind::Can:
        out << channels.nameOf(channel) << ' ';
        printHex(out, key & 0x1FFFFFFF, (key >> 31 & 1) != 0 ? 8 : 3);
        break;
    case SignalKind::Lin:
        out << "channel " << unsigned{channel} << ' ';
        printHex(out, key & 0x3F, 2);
        break;
    case SignalKind::FlexRay:
        out << "channel " << unsigned{channel} << " slot " << (key & 0xFFFF);
        break;
    default:
        out << (key & 0xFFFFFFFF);
    }
}

template <class Counts>
std::uint64_t sum(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

const char* plural(std::uint64_t count) {
    return count == 1 ? "" : "s";
}

/// Writes `a, b, c`, and how many more there are.
template <class Items, class Print>
void printList(std::ostream& out, const Items& items, Print&& print) {
    const std::size_t listed = std::min(items.size(), maxListed);
    for (std::size_t i = 0; i < listed; ++i) {
        out << (i == 0 ? "" : ", ");
        print(items[i]);
    }
    if (listed < items.size()) {
        out << " and " << items.size() - listed << " more";
    }
    out << '\n';
}

template <class Condition>
std::vector<const MessageDecoder*> select(const Catalog& catalog, Condition&& holds) {
    std::vector<const MessageDecoder*> selected;
    for (const auto& decoder : catalog.decoders()) {
        if (holds(*decoder)) {
            selected.push_back(decoder.get());
        }
    }
    return selected;
}

void printShort(std::ostream& out, const Catalog& catalog) {
    const auto affected =
        select(catalog, [](const MessageDecoder& decoder) { return decoder.statistics().shortFrames > 0; });
    if (affected.empty()) {
        return;
    }
    out << "shorter than defined:\n";
    for (const MessageDecoder* const decoder : affected) {
        const MessageStatistics& counts = decoder->statistics();
        out << "  " << decoder->message().name << ": " << counts.shortFrames << " of " << counts.frames
            << " frame" << plural(counts.frames) << ", " << counts.untouched << " value"
            << plural(counts.untouched) << " missing\n";
    }
}

void printNeverSeen(std::ostream& out, const Catalog& catalog) {
    const auto unseen =
        select(catalog, [](const MessageDecoder& decoder) { return decoder.statistics().frames == 0; });
    if (!unseen.empty()) {
        out << "never seen: " << unseen.size() << " of " << catalog.decoders().size() << " messages: ";
        printList(out, unseen, [&out](const MessageDecoder* decoder) { out << decoder->message().name; });
    }
}

/// The same of signals that have no decoder of their message.
void printUnseenSignals(std::ostream& out, const Catalog& catalog, SignalKind kind) {
    const SignalGroup& group = catalog.group(kind);
    std::vector<std::size_t> unseen;
    std::copy_if(group.members.begin(), group.members.end(), std::back_inserter(unseen),
                 [&catalog](std::size_t signal) { return !catalog.isSeen(signal); });
    if (!unseen.empty()) {
        out << "never seen: " << unseen.size() << " of " << group.members.size() << ' ' << kindName(kind)
            << (kind == SignalKind::Can ? " PDU" : "") << " signal" << plural(group.members.size()) << ": ";
        printList(out, unseen, [&](std::size_t signal) { out << catalog.signals()[signal]->def.instance; });
    }
}

/// Messages that are bound to no channel and came from several share one value.
void printSeveralChannels(std::ostream& out, const Catalog& catalog) {
    const auto mixed = select(catalog, [](const MessageDecoder& decoder) {
        return !decoder.channel() && decoder.statistics().channels.count() > 1;
    });
    if (!mixed.empty()) {
        out << "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): ";
        printList(out, mixed, [&out](const MessageDecoder* decoder) { out << decoder->message().name; });
    }
}

} // namespace

void ReplayStatistics::countUnknown(const MessageOrigin& origin, std::uint32_t identifier) {
    ++unknown[static_cast<std::size_t>(origin.kind)];
    const std::uint64_t key = unknownKey(origin, identifier);
    const auto entry = unknownMessages.find(key);
    if (entry != unknownMessages.end()) {
        ++entry->second;
    } else if (unknownMessages.size() < maxIdentifiers) {
        unknownMessages.emplace(key, 1);
    } else {
        ++uncountedIdentifiers;
    }
}

std::bitset<256> ReplayStatistics::unknownCanChannels() const {
    std::bitset<256> channels;
    for (const auto& [key, count] : unknownMessages) {
        if (kindOf(key) == SignalKind::Can) {
            channels.set(static_cast<std::uint8_t>(key >> channelShift));
        }
    }
    return channels;
}

std::bitset<256> ReplayStatistics::unknownCanChannels(std::uint32_t identifier) const {
    std::bitset<256> channels;
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        const MessageOrigin origin{static_cast<std::uint8_t>(channel), SignalKind::Can};
        channels[channel] = unknownMessages.contains(unknownKey(origin, identifier));
    }
    return channels;
}

void ReplayStatistics::count(const TraceSource& trace) {
    const TraceDamage& damage = trace.damage();
    dropped += damage.dropped;
    malformed += damage.malformed;
    for (const std::string& text : damage.texts) {
        if (malformedTexts.size() < TraceDamage::maxTexts) {
            malformedTexts.push_back(text);
        }
    }
    damagedFiles.insert(damagedFiles.end(), damage.remarks.begin(), damage.remarks.end());
    if (damage.bytes > 0) {
        damagedFiles.push_back(trace.path() + ": " + std::to_string(damage.bytes) + " byte" +
                               plural(damage.bytes) + " damaged from offset " +
                               std::to_string(damage.firstByte));
    }
}

std::uint64_t ReplayStatistics::messages() const {
    return sum(decoded) + sum(unknown) + sum(passed);
}

void ReplayStatistics::print(std::ostream& out, const Catalog& catalog, const ChannelMap& channels) const {
    printCounts(out);
    printUnknown(out, channels);
    printShort(out, catalog);
    printDamage(out);
    printNeverSeen(out, catalog);
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        printUnseenSignals(out, catalog, static_cast<SignalKind>(kind));
    }
    printSeveralChannels(out, catalog);
    for (const std::string& remark : channels.remarks()) {
        out << remark << '\n';
    }
}

void ReplayStatistics::printCounts(std::ostream& out) const {
    const bool isCanOnly = sum(decoded) + sum(unknown) == decoded[0] + unknown[0];
    out << messages() << (isCanOnly ? " frame" : " message") << plural(messages())
        << " read: " << sum(decoded) << " decoded, " << sum(unknown) << " unknown";
    for (std::size_t kind = 0; kind < passedMessages; ++kind) {
        const auto& [name, isAlwaysListed] = passedNames[kind];
        if (passed[kind] > 0 || isAlwaysListed) {
            out << ", " << passed[kind] << ' ' << name;
        }
    }
    out << '\n';
    if (!isCanOnly) {
        printKinds(out);
    }
    if (records > 0) {
        out << records << " raw record" << plural(records) << ", " << droppedRecords
            << " of them dropped before they were decoded\n";
    }
    if (dropped > 0) {
        out << "the recorder lost " << dropped << " frame" << plural(dropped) << '\n';
    }
}

void ReplayStatistics::printKinds(std::ostream& out) const {
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        if (decoded[kind] + unknown[kind] > 0) {
            out << "  " << kindName(static_cast<SignalKind>(kind)) << ": " << decoded[kind] << " decoded, "
                << unknown[kind] << " unknown\n";
        }
    }
}

void ReplayStatistics::printUnknown(std::ostream& out, const ChannelMap& channels) const {
    using Entry = std::pair<std::uint64_t, std::uint64_t>;
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        std::vector<Entry> byCount;
        std::copy_if(unknownMessages.begin(), unknownMessages.end(), std::back_inserter(byCount),
                     [kind](const auto& entry) { return entry.first >> kindShift == kind; });
        if (byCount.empty() || !hasIdentifiers(static_cast<SignalKind>(kind))) {
            continue;
        }
        std::sort(byCount.begin(), byCount.end(), [](const Entry& left, const Entry& right) {
            return left.second != right.second ? left.second > right.second : left.first < right.first;
        });
        out << "unknown" << (kind == 0 ? "" : " ") << (kind == 0 ? "" : kindName(SignalKind(kind))) << ": ";
        printList(out, byCount, [&](const Entry& entry) {
            printUnknownKey(out, entry.first, channels);
            out << " (" << entry.second << ')';
        });
    }
    if (uncountedIdentifiers > 0) {
        out << "unknown: " << uncountedIdentifiers << " message" << plural(uncountedIdentifiers)
            << " with further identifiers\n";
    }
}

void ReplayStatistics::printDamage(std::ostream& out) const {
    for (const std::string& text : damagedFiles) {
        out << text << '\n';
    }
    if (malformed == 0) {
        return;
    }
    out << malformed << " malformed line" << plural(malformed)
        << (malformed > malformedTexts.size() ? ", first:" : ":") << '\n';
    for (const std::string& text : malformedTexts) {
        out << "  " << text << '\n';
    }
}

} // namespace rksignal

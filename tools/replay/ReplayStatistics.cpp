#include "replay/ReplayStatistics.h"

#include "replay/Catalog.h"

#include <algorithm>
#include <iomanip>
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

std::uint64_t unknownKey(const CANExtTraceMessage& frame) {
    const std::uint64_t extended = frame.frameFormat & CANExtTraceMessage::Extended;
    return std::uint64_t{frame.channel} << 32 | extended << 31 | frame.canId;
}

/// Writes an identifier as a trace shows it: 3 digits, or 8 for an extended one.
void printIdentifier(std::ostream& out, std::uint64_t key) {
    const bool extended = (key >> 31 & 1) != 0;
    const char fill = out.fill('0');
    out << std::hex << std::uppercase << std::setw(extended ? 8 : 3) << (key & 0x1FFFFFFF) << std::dec
        << std::nouppercase;
    out.fill(fill);
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

void ReplayStatistics::countUnknown(const CANExtTraceMessage& frame) {
    ++unknown;
    const std::uint64_t key = unknownKey(frame);
    const auto entry = unknownFrames.find(key);
    if (entry != unknownFrames.end()) {
        ++entry->second;
    } else if (unknownFrames.size() < maxIdentifiers) {
        unknownFrames.emplace(key, 1);
    } else {
        ++uncountedIdentifiers;
    }
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
    if (damage.bytes > 0) {
        damagedFiles.push_back(trace.path() + ": " + std::to_string(damage.bytes) + " byte" +
                               plural(damage.bytes) + " damaged from offset " +
                               std::to_string(damage.firstByte));
    }
}

void ReplayStatistics::print(std::ostream& out, const Catalog& catalog, const ChannelMap& channels) const {
    printCounts(out);
    printUnknown(out, channels);
    printShort(out, catalog);
    printDamage(out);
    printNeverSeen(out, catalog);
    printSeveralChannels(out, catalog);
    for (const std::string& remark : channels.remarks()) {
        out << remark << '\n';
    }
}

void ReplayStatistics::printCounts(std::ostream& out) const {
    const std::uint64_t read = std::accumulate(passed.begin(), passed.end(), frames);
    out << read << " frame" << plural(read) << " read: " << decoded << " decoded, " << unknown << " unknown";
    for (std::size_t kind = 0; kind < passedMessages; ++kind) {
        const auto& [name, isAlwaysListed] = passedNames[kind];
        if (passed[kind] > 0 || isAlwaysListed) {
            out << ", " << passed[kind] << ' ' << name;
        }
    }
    out << '\n';
    if (dropped > 0) {
        out << "the recorder lost " << dropped << " frame" << plural(dropped) << '\n';
    }
}

void ReplayStatistics::printUnknown(std::ostream& out, const ChannelMap& channels) const {
    if (unknownFrames.empty()) {
        return;
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> byCount(unknownFrames.begin(), unknownFrames.end());
    std::sort(byCount.begin(), byCount.end(), [](const auto& left, const auto& right) {
        return left.second != right.second ? left.second > right.second : left.first < right.first;
    });
    out << "unknown: ";
    printList(out, byCount, [&](const auto& entry) {
        out << channels.nameOf(static_cast<std::uint8_t>(entry.first >> 32)) << ' ';
        printIdentifier(out, entry.first);
        out << " (" << entry.second << ')';
    });
    if (uncountedIdentifiers > 0) {
        out << "unknown: " << uncountedIdentifiers << " frame" << plural(uncountedIdentifiers)
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

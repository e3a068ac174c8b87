#include "output/ReplaySummary.h"

#include "output/ParameterGroupSummary.h"
#include "output/SummaryText.h"
#include "text/PrintableText.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// By PassedMessage, and whether the summary also says that there were none.
constexpr std::pair<const char*, bool> passedNames[passedMessages] = {{"remote", true},
                                                                      {"error", true},
                                                                      {"CAN XL (not supported)", false},
                                                                      {"not recorded in full", false},
                                                                      {"of other kinds", false}};

/// There is one GPS receiver, and Ethernet frames have addresses without end.
bool hasIdentifiers(SignalKind kind) {
    return kind != SignalKind::Gps && kind != SignalKind::Ethernet;
}

/// Writes what an unknown message is known by: a CAN identifier with 3 digits, or 8 if it is extended, and
/// the interface it came from; a LIN identifier or a FlexRay slot with its channel; other numbers as they
/// are.
void printUnknownKey(std::ostream& out, const UnknownMessage& message, const ChannelMap& channels) {
    const std::uint8_t channel = message.origin.channel.value_or(0);
    switch (message.origin.kind) {
    case SignalKind::Can:
        out << channels.nameOf(channel) << ' ';
        printHex(out, message.identifier & 0x1FFFFFFF, (message.identifier >> 31) != 0 ? 8 : 3);
        break;
    case SignalKind::Lin:
        out << "channel " << unsigned{channel} << ' ';
        printHex(out, message.identifier & 0x3F, 2);
        break;
    case SignalKind::FlexRay:
        out << "channel " << unsigned{channel} << " slot " << (message.identifier & 0xFFFF);
        break;
    default:
        out << message.identifier;
    }
}

void printShort(std::ostream& out, const Catalog& catalog) {
    const auto affected = selectDecoders(
        catalog, [](const MessageDecoder& decoder) { return decoder.statistics().shortFrames > 0; });
    if (affected.empty()) {
        return;
    }
    out << "shorter than defined:\n";
    for (const MessageDecoder* const decoder : affected) {
        const MessageStatistics& counts = decoder->statistics();
        out << "  ";
        printName(out, *decoder);
        out << ": " << counts.shortFrames << " of " << counts.frames << " frame" << plural(counts.frames)
            << ", " << counts.untouched << " value" << plural(counts.untouched) << " missing\n";
    }
}

void printNeverSeen(std::ostream& out, const Catalog& catalog) {
    const auto unseen = selectDecoders(
        catalog, [](const MessageDecoder& decoder) { return decoder.statistics().frames == 0; });
    if (!unseen.empty()) {
        const auto isOfDefinition = [](const MessageDecoder& decoder) {
            return !decoder.isForFurtherSource();
        };
        out << "never seen: " << unseen.size() << " of " << selectDecoders(catalog, isOfDefinition).size()
            << " messages: ";
        printList(out, unseen, [&out](const MessageDecoder* decoder) { printName(out, *decoder); });
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
    const auto mixed = selectDecoders(catalog, [](const MessageDecoder& decoder) {
        return !decoder.channel() && decoder.statistics().channels.count() > 1;
    });
    if (!mixed.empty()) {
        out << "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): ";
        printList(out, mixed, [&out](const MessageDecoder* decoder) { out << decoder->message().name; });
    }
}

void printCounts(std::ostream& out, const ReplayStatistics& counts) {
    const std::uint64_t decoded = ReplayStatistics::sum(counts.decoded);
    const std::uint64_t unknown = ReplayStatistics::sum(counts.unknown);
    const bool isCanOnly = decoded + unknown == counts.decoded[0] + counts.unknown[0];
    out << counts.messages() << (isCanOnly ? " frame" : " message") << plural(counts.messages())
        << " read: " << decoded << " decoded, " << unknown << " unknown";
    for (std::size_t kind = 0; kind < passedMessages; ++kind) {
        const auto& [name, isAlwaysListed] = passedNames[kind];
        if (counts.passed[kind] > 0 || isAlwaysListed) {
            out << ", " << counts.passed[kind] << ' ' << name;
        }
    }
    out << '\n';
    for (std::size_t kind = 0; kind < signalKinds && !isCanOnly; ++kind) {
        if (counts.decoded[kind] + counts.unknown[kind] > 0) {
            out << "  " << kindName(SignalKind(kind)) << ": " << counts.decoded[kind] << " decoded, "
                << counts.unknown[kind] << " unknown\n";
        }
    }
    if (counts.records > 0) {
        out << counts.records << " raw record" << plural(counts.records) << ", " << counts.droppedRecords
            << " of them dropped before they were decoded\n";
    }
}

void printSomeIp(std::ostream& out, const SomeIpStatistics& counts) {
    if (counts.assembled + counts.lostSegments > 0) {
        out << "SOME/IP: " << counts.assembled << " message" << plural(counts.assembled)
            << " put together from segments, " << counts.lostSegments << " segment"
            << plural(counts.lostSegments) << " lost\n";
    }
}

void printUnknown(std::ostream& out, const ReplayStatistics& counts, const ChannelMap& channels) {
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        const auto messages = counts.unknownMessages.of(SignalKind(kind));
        if (messages.empty() || !hasIdentifiers(SignalKind(kind))) {
            continue;
        }
        out << "unknown" << (kind == 0 ? "" : " ") << (kind == 0 ? "" : kindName(SignalKind(kind))) << ": ";
        printList(out, messages, [&](const UnknownMessage& message) {
            printUnknownKey(out, message, channels);
            out << " (" << message.count << ')';
        });
    }
    const std::uint64_t others = counts.unknownMessages.others();
    if (others > 0) {
        out << "unknown: " << others << " message" << plural(others) << " with further identifiers\n";
    }
}

void printLost(std::ostream& out, const Trace& traces) {
    std::uint64_t lost = 0;
    for (std::size_t i = 0; i < traces.count(); ++i) {
        lost += traces.report(i).lost;
    }
    if (lost > 0) {
        out << "the recorder lost " << lost << " frame" << plural(lost) << '\n';
    }
}

/// Lists the interfaces of captures that tell more of them than the kind of one.
void printInterfaces(std::ostream& out, const Trace& traces) {
    for (std::size_t i = 0; i < traces.count(); ++i) {
        const auto& interfaces = traces.report(i).interfaces;
        const bool isTelling =
            interfaces.size() > 1 || (interfaces.size() == 1 && !interfaces[0].name.empty());
        for (const TraceInterface& each :
             isTelling ? std::span(interfaces) : std::span<const TraceInterface>()) {
            out << traces.name(i) << ": interface " << each.index << (each.name.empty() ? "" : " ")
                << printable(each.name) << " (" << each.link << ")";
            if (each.channel) {
                out << " is channel " << unsigned{*each.channel};
            }
            out << ": " << each.messages << " packet" << plural(each.messages)
                << (each.comment.empty() ? "" : "; ") << printable(each.comment) << '\n';
        }
    }
}

/// What was assumed about traces.
void printNotes(std::ostream& out, const Trace& traces) {
    for (std::size_t i = 0; i < traces.count(); ++i) {
        for (const Remark& remark : traces.report(i).remarks) {
            if (remark.severity == Severity::Note) {
                out << remark << '\n';
            }
        }
    }
}

void printChannels(std::ostream& out, const ChannelMap& channels) {
    for (const Remark& remark : channels.remarks()) {
        const bool isShared = remark.severity == Severity::Warning;
        out << remark.text << (isShared ? "; --channel NAME=N tells them apart" : "") << '\n';
    }
}

} // namespace

void printDamage(std::ostream& out, const Trace& traces) {
    std::uint64_t lines = 0;
    std::vector<const Remark*> shown;
    for (std::size_t i = 0; i < traces.count(); ++i) {
        lines += traces.report(i).damagedLines;
        for (const Remark& remark : traces.report(i).remarks) {
            if (remark.severity == Severity::Note) {
                continue;
            }
            if (remark.line == 0) {
                out << remark << '\n';
            } else if (shown.size() < maxListed) {
                shown.push_back(&remark);
            }
        }
    }
    if (lines > 0) {
        out << lines << " malformed line" << plural(lines) << (lines > shown.size() ? ", first:" : ":")
            << '\n';
    }
    for (const Remark* const remark : shown) {
        out << "  " << *remark << '\n';
    }
}

void printTraces(std::ostream& out, const Trace& traces) {
    printInterfaces(out, traces);
    printLost(out, traces);
    printDamage(out, traces);
    printNotes(out, traces);
    printChannels(out, traces.channels());
}

void printSummary(std::ostream& out, const ReplayStatistics& statistics, const Catalog& catalog,
                  const Trace& traces) {
    printCounts(out, statistics);
    printSomeIp(out, statistics.someIp);
    printInterfaces(out, traces);
    printLost(out, traces);
    printUnknown(out, statistics, traces.channels());
    printShort(out, catalog);
    printTransport(out, statistics.transport);
    printReserved(out, catalog);
    printDamage(out, traces);
    printNotes(out, traces);
    printNeverSeen(out, catalog);
    for (std::size_t kind = 0; kind < signalKinds; ++kind) {
        printUnseenSignals(out, catalog, static_cast<SignalKind>(kind));
    }
    printSources(out, catalog);
    printSeveralChannels(out, catalog);
    printChannels(out, traces.channels());
}

} // namespace rksignal

#include "output/ParameterGroupSummary.h"

#include "output/SummaryText.h"

#include <map>
#include <utility>

namespace rksignal {

void printSources(std::ostream& out, const Catalog& catalog) {
    std::map<const MessageDefinition*, std::vector<const MessageDecoder*>> bySource;
    for (const auto& decoder : catalog.decoders()) {
        if (decoder->source() && decoder->statistics().frames > 0) {
            bySource[&decoder->message()].push_back(decoder.get());
        }
    }
    std::erase_if(bySource, [](const auto& entry) { return entry.second.size() == 1; });
    std::vector<std::vector<const MessageDecoder*>> messages;
    for (const auto& decoder : catalog.decoders()) {
        if (const auto entry = bySource.find(&decoder->message()); entry != bySource.end()) {
            messages.push_back(std::move(entry->second));
            bySource.erase(entry);
        }
    }
    if (messages.empty()) {
        return;
    }
    out << "sent by several (the first without @SA in its names): ";
    printList(out, messages, [&out](const std::vector<const MessageDecoder*>& senders) {
        out << senders.front()->message().name << " (";
        for (const MessageDecoder* const sender : senders) {
            out << (sender == senders.front() ? "" : " ");
            printSource(out, *sender);
        }
        out << ')';
    });
}

void printReserved(std::ostream& out, const Catalog& catalog) {
    const auto affected = selectDecoders(catalog, [](const MessageDecoder& decoder) {
        return decoder.statistics().notAvailable + decoder.statistics().errors > 0;
    });
    if (affected.empty()) {
        return;
    }
    std::uint64_t notAvailable = 0;
    std::uint64_t errors = 0;
    for (const MessageDecoder* const decoder : affected) {
        notAvailable += decoder->statistics().notAvailable;
        errors += decoder->statistics().errors;
    }
    out << "J1939 values that say not available (" << notAvailable << ") or error (" << errors
        << "), not left out: ";
    printList(out, affected, [&out](const MessageDecoder* decoder) {
        printName(out, *decoder);
        out << " (" << decoder->statistics().notAvailable << ", " << decoder->statistics().errors << ')';
    });
}

void printTransport(std::ostream& out, const TransportStatistics& counts) {
    if (counts.messages + counts.incomplete + counts.strayPackets + counts.open == 0) {
        return;
    }
    out << "J1939 messages in several frames: " << counts.messages << " put together, " << counts.incomplete
        << " incomplete with " << counts.lostPackets << " packet" << plural(counts.lostPackets) << " lost, "
        << counts.open << " not at their end, " << counts.strayPackets << " stray packet"
        << plural(counts.strayPackets) << '\n';
}

} // namespace rksignal

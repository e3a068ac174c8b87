#include "definition/DbcConversion.h"

#include "definition/CanDefinition.h"
#include "definition/FreeName.h"
#include "text/Counted.h"

#include <limits>
#include <ostream>
#include <set>
#include <string>
#include <utility>

namespace rksignal {
namespace {

/// The first multiplexer that is always there: the one that a record's `mux` refers to.
const DbcSignal* rootMultiplexer(const DbcMessage& message) {
    for (const DbcSignal& signal : message.signals) {
        if (signal.multiplexer && !signal.multiplexing) {
            return &signal;
        }
    }
    return nullptr;
}

/// `1-3, 7`
std::string shownRanges(const DbcMultiplexing& multiplexing) {
    std::string text;
    for (const auto& [first, last] : multiplexing.ranges) {
        text += (text.empty() ? "" : ", ") + std::to_string(first);
        text += last != first ? "-" + std::to_string(last) : "";
    }
    return text;
}

class DbcConverter {
  public:
    DbcConverter(const DbcFile& file, std::optional<std::uint8_t> channel) : file(file), channel(channel) {
        result.notes = file.notes;
    }

    ConvertedDbc convert() {
        for (const DbcMessage& message : file.messages) {
            convert(message);
        }
        return std::move(result);
    }

  private:
    void convert(const DbcMessage& message) {
        result.lengths += message.signals.empty() ? 0 : 1;
        result.emptyMessages += message.signals.empty() ? 1 : 0;
        result.messageComments += message.comment.empty() ? 0 : 1;
        const DbcSignal* const root = rootMultiplexer(message);
        for (const DbcSignal& signal : message.signals) {
            const std::string reason = whyLost(message, signal, root);
            if (reason.empty()) {
                convert(message, signal, &signal == root);
            } else {
                ++result.lostSignals;
                note(message, signal, "is not converted: it " + reason);
            }
        }
    }

    static std::string whyLost(const DbcMessage& message, const DbcSignal& signal, const DbcSignal* root) {
        if (const char* const reason = whyNotDecodable(canDefinition(message, signal))) {
            return reason;
        }
        if (!signal.multiplexing) {
            return "";
        }
        const std::string& multiplexer = signal.multiplexing->multiplexer;
        if (root == nullptr || multiplexer != root->name) {
            return "depends on " + multiplexer + ", which is not the first multiplexer of the message";
        }
        if (whyNotDecodable(canDefinition(message, *root)) != nullptr) {
            return "depends on " + multiplexer + ", which is not converted";
        }
        constexpr std::uint64_t lastMux = std::numeric_limits<std::uint16_t>::max();
        const std::uint64_t first = signal.multiplexing->ranges.front().first;
        return first > lastMux ? "is present for multiplexer values above " + std::to_string(lastMux) : "";
    }

    void convert(const DbcMessage& message, const DbcSignal& signal, bool isRoot) {
        canSignalDef_t record = canDefinition(message, signal);
        record.instance = freeName(message.name + "." + signal.name,
                                   [this](const std::string& name) { return !taken.insert(name).second; });
        record.channel = channel.value_or(0);
        record.multiplexer = isRoot ? 1 : 0; // what a multiplexed one selects is not converted
        result.ranges += signal.minimum != signal.maximum ? 1 : 0;
        result.receivers += signal.receivers.empty() ? 0 : 1;
        if (signal.multiplexing) {
            noteNarrowed(message, signal, record.mux);
        }
        result.definitions.can.push_back({std::move(record), {}, !channel});
    }

    void noteNarrowed(const DbcMessage& message, const DbcSignal& signal, std::uint16_t mux) {
        const auto& ranges = signal.multiplexing->ranges;
        if (ranges.size() > 1 || ranges.front().first != ranges.front().second) {
            ++result.narrowedSignals;
            note(message, signal,
                 "is converted for the value " + std::to_string(mux) + " of " +
                     signal.multiplexing->multiplexer + ", not for all of " +
                     shownRanges(*signal.multiplexing));
        }
    }

    void note(const DbcMessage& message, const DbcSignal& signal, const std::string& text) {
        result.notes.push_back({file.path, signal.line, DbcNote::Severity::Dropped,
                                "signal " + message.name + "." + signal.name + " " + text});
    }

    const DbcFile& file;
    const std::optional<std::uint8_t> channel;
    std::set<std::string> taken;
    ConvertedDbc result;
};

} // namespace

ConvertedDbc convertDbc(const DbcFile& file, std::optional<std::uint8_t> channel) {
    return DbcConverter(file, channel).convert();
}

void printSummary(std::ostream& out, const ConvertedDbc& converted) {
    out << "signals converted: " << converted.definitions.can.size() << '\n';
    printCounts(out, "values lost",
                {{"signals not converted", converted.lostSignals},
                 {"signals present for fewer multiplexer values", converted.narrowedSignals}});
    printCounts(out, "lost without an effect on values",
                {{"lengths of messages", converted.lengths},
                 {"messages without signals", converted.emptyMessages},
                 {"comments of messages", converted.messageComments},
                 {"ranges of signals", converted.ranges},
                 {"receivers of signals", converted.receivers}});
}

} // namespace rksignal

#include "replay/Catalog.h"

#include "replay/CanDefinition.h"

#include <algorithm>
#include <utility>

namespace rksignal {

/// Adds one file.
class Catalog::FileAdder {
  public:
    FileAdder(Catalog& catalog, const DbcFile& file, std::optional<std::uint8_t> channel)
        : catalog(catalog), file(file), channel(channel) {}

    void add() {
        catalog.remarks.insert(catalog.remarks.end(), file.notes.begin(), file.notes.end());
        for (const DbcMessage& message : file.messages) {
            add(message);
        }
        if (renamed > 0) {
            note(1, DbcNote::Severity::Guess,
                 std::to_string(renamed) + " of its instance names were taken, so " + renamedExample);
        }
    }

  private:
    void add(const DbcMessage& message) {
        auto& decoders =
            (channel ? catalog.bound
                     : catalog.unbound)[tableKey(channel.value_or(0), message.id, message.extended)];
        for (const MessageDecoder* const earlier : decoders) {
            if (sameMeaning(earlier->message(), message)) {
                note(message.line, DbcNote::Severity::Dropped,
                     "message " + message.name + " is already defined exactly so");
                return;
            }
            note(message.line, DbcNote::Severity::Guess,
                 "message " + message.name + " has the identifier of " + earlier->message().name +
                     ", defined otherwise; frames are decoded by both");
        }
        decoders.push_back(buildDecoder(message, decoders.empty()));
    }

    MessageDecoder* buildDecoder(const DbcMessage& message, bool alone) {
        const std::vector<bool> usable = usableSignals(message);
        std::vector<CANSignal*> signals(message.signals.size());
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (usable[i]) {
                signals[i] = &buildSignal(message, message.signals[i]);
            }
        }
        return catalog.allDecoders
            .emplace_back(std::make_unique<MessageDecoder>(message, channel, signals, alone))
            .get();
    }

    /// By index. What is not decodable, or depends on something that is not, is noted and left out.
    std::vector<bool> usableSignals(const DbcMessage& message) {
        std::vector<bool> decodable;
        for (const DbcSignal& signal : message.signals) {
            const char* const reason = whyNotDecodable(canDefinition(message, signal));
            if (reason != nullptr) {
                drop(message, signal, reason);
            }
            decodable.push_back(reason == nullptr);
        }
        std::vector<bool> reachable(decodable.size());
        for (const MultiplexNode& node : multiplexTree(message, decodable)) {
            reachable[node.signal] = true;
        }
        for (std::size_t i = 0; i < decodable.size(); ++i) {
            if (decodable[i] && !reachable[i]) {
                drop(message, message.signals[i], "depends on a multiplexer that is dropped");
            }
        }
        return reachable;
    }

    CANSignal& buildSignal(const DbcMessage& message, const DbcSignal& signal) {
        canSignalDef_t definition = canDefinition(message, signal);
        definition.channel = channel.value_or(0);
        definition.tslId = channel ? MessageDecoder::boundSource : MessageDecoder::unboundSource;
        definition.instance = freeName(message.name + "." + signal.name);
        return catalog.build(definition);
    }

    std::string freeName(const std::string& wanted) {
        const auto& taken = catalog.storage.instancesByName;
        if (!taken.contains(wanted)) {
            return wanted;
        }
        const std::string base = channel ? wanted + "@" + std::to_string(*channel) : wanted;
        std::string name = base;
        for (unsigned n = 2; taken.contains(name); ++n) {
            name = base + "#" + std::to_string(n);
        }
        if (renamed++ == 0) {
            renamedExample = wanted + " became " + name;
        }
        return name;
    }

    void drop(const DbcMessage& message, const DbcSignal& signal, const std::string& reason) {
        note(signal.line, DbcNote::Severity::Dropped,
             "signal " + message.name + "." + signal.name + " is not decoded: it " + reason);
    }

    void note(unsigned line, DbcNote::Severity severity, std::string text) {
        catalog.remarks.push_back({file.path, line, severity, std::move(text)});
    }

    Catalog& catalog;
    const DbcFile& file;
    const std::optional<std::uint8_t> channel;
    std::size_t renamed = 0;
    std::string renamedExample;
};

void Catalog::add(const DbcFile& file, std::optional<std::uint8_t> channel) {
    FileAdder(*this, file, channel).add();
}

CANSignal& Catalog::build(const canSignalDef_t& definition) {
    allSignals.push_back(std::make_unique<CANSignal>(definition, /*shm=*/false, &storage));
    CANSignal& signal = *allSignals.back();
    if (allSignals.size() == 1) {
        firstNumber = runningNumber(signal.id);
    }
    indexByNumber.resize(runningNumber(signal.id) - firstNumber + 1);
    indexByNumber.back() = allSignals.size() - 1;
    return signal;
}

std::span<MessageDecoder* const> Catalog::find(const DecoderTable& table, std::uint8_t channel,
                                               std::uint32_t id, bool extended) {
    const auto entry = table.find(tableKey(channel, id, extended));
    return entry != table.end() ? std::span<MessageDecoder* const>(entry->second)
                                : std::span<MessageDecoder* const>();
}

} // namespace rksignal

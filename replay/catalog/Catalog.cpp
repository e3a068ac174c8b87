#include "catalog/Catalog.h"

#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "definition/CanDefinition.h"
#include "definition/CanMessage.h"
#include "definition/FreeName.h"
#include "definition/json/DefinitionFile.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"

#include <algorithm>
#include <utility>

namespace rksignal {

using NoteSeverity = DbcNote::Severity;

bool Catalog::isTaken(const std::string& instance) const {
    return registry.instancesByName.contains(instance);
}

void Catalog::note(std::string place, NoteSeverity severity, std::string text) {
    remarks.push_back({std::move(place), severity, std::move(text)});
}

/// \return the signal, or null if no message could reach it
template <class Signal, class Record>
Signal* Catalog::build(const Record& record) {
    auto built = std::make_unique<Signal>(record, /*shmem=*/false, &registry);
    Signal* const signal = built.get();
    if (signal->id == 0 || signal->id == ~std::uint64_t{0}) {
        return nullptr;
    }
    if (allSignals.empty()) {
        firstNumber = runningNumber(signal->id);
    }
    indexByNumber.resize(runningNumber(signal->id) - firstNumber + 1);
    indexByNumber.back() = allSignals.size();
    allSignals.push_back(std::move(built));
    seen.push_back(false);
    return signal;
}

/// Adds messages with a decoder each.
class Catalog::MessageAdder {
  public:
    /// `renames`: what is taken gets another name; otherwise the signal is left out.
    MessageAdder(Catalog& catalog, bool renames) : catalog(catalog), renames(renames) {}

    void add(const CanMessage& definition) {
        const DbcMessage& message = definition.message;
        auto& decoders =
            (definition.channel
                 ? catalog.bound
                 : catalog.unbound)[tableKey(definition.channel.value_or(0), message.id, message.extended)];
        for (const MessageDecoder* const earlier : decoders) {
            if (sameMeaning(earlier->message(), message)) {
                catalog.note(definition.place, NoteSeverity::Dropped,
                             "message " + message.name + " is already defined exactly so");
                return;
            }
            catalog.note(definition.place, NoteSeverity::Guess,
                         "message " + message.name + " has the identifier of " + earlier->message().name +
                             ", defined otherwise; frames are decoded by both");
        }
        decoders.push_back(buildDecoder(definition, decoders.empty()));
    }

    /// Says at `place` how many signals got another name.
    void noteRenamed(const std::string& place) const {
        if (renamed > 0) {
            catalog.note(place, NoteSeverity::Guess,
                         std::to_string(renamed) + " of its instance names were taken, so " + renamedExample);
        }
    }

  private:
    MessageDecoder* buildDecoder(const CanMessage& definition, bool alone) {
        const std::vector<bool> usable = usableSignals(definition);
        std::vector<CANSignal*> signals(definition.records.size());
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (usable[i]) {
                signals[i] = buildSignal(definition, definition.records[i]);
            }
        }
        return catalog.allDecoders
            .emplace_back(
                std::make_unique<MessageDecoder>(definition.message, definition.channel, signals, alone))
            .get();
    }

    /// By index. What is not decodable, or depends on something that is not, is noted and left out.
    std::vector<bool> usableSignals(const CanMessage& definition) {
        std::vector<bool> decodable;
        for (std::size_t i = 0; i < definition.records.size(); ++i) {
            const char* const reason = whyNotDecodable(definition.records[i]);
            const bool isNameTaken = !renames && catalog.isTaken(definition.records[i].instance);
            if (reason != nullptr) {
                drop(definition, i, std::string("it ") + reason);
            } else if (isNameTaken) {
                drop(definition, i, "its name is taken", NoteSeverity::Error);
            }
            decodable.push_back(reason == nullptr && !isNameTaken);
        }
        std::vector<bool> reachable(decodable.size());
        for (const MultiplexNode& node : multiplexTree(definition.message, decodable)) {
            reachable[node.signal] = true;
        }
        for (std::size_t i = 0; i < decodable.size(); ++i) {
            if (decodable[i] && !reachable[i]) {
                drop(definition, i, "it depends on a multiplexer that is dropped");
            }
        }
        return reachable;
    }

    CANSignal* buildSignal(const CanMessage& definition, canSignalDef_t record) {
        record.channel = definition.channel.value_or(0);
        record.tslId = definition.channel ? MessageDecoder::boundSource : MessageDecoder::unboundSource;
        record.instance = nameFor(record.instance, definition.channel);
        return catalog.build<CANSignal>(record);
    }

    std::string nameFor(const std::string& wanted, std::optional<std::uint8_t> channel) {
        if (!catalog.isTaken(wanted)) {
            return wanted;
        }
        std::string name =
            freeName(channel ? wanted + "@" + std::to_string(*channel) : wanted,
                     [this](const std::string& candidate) { return catalog.isTaken(candidate); });
        if (renamed++ == 0) {
            renamedExample = wanted + " became " + name;
        }
        return name;
    }

    void drop(const CanMessage& definition, std::size_t signal, const std::string& reason,
              NoteSeverity severity = NoteSeverity::Dropped) {
        catalog.note(definition.places[signal], severity,
                     "signal " + definition.records[signal].instance + " is not decoded: " + reason);
    }

    Catalog& catalog;
    const bool renames;
    std::size_t renamed = 0;
    std::string renamedExample;
};

/// Adds definitions whose signals the library's decoders find by themselves.
class Catalog::RecordAdder {
  public:
    explicit RecordAdder(Catalog& catalog) : catalog(catalog) {}

    /// Signals in PDUs.
    void addPdus(const std::vector<PlacedDefinition<canSignalDef_t>>& definitions) {
        for (const auto& definition : definitions) {
            canSignalDef_t record = definition.record;
            if (!record.pduId) {
                continue;
            }
            record.channel = definition.anyChannel ? std::uint8_t{0} : record.channel;
            record.tslId =
                definition.anyChannel ? MessageDecoder::unboundPduSource : MessageDecoder::boundPduSource;
            if (!record.canFD || record.multiplexed) {
                drop(definition, record.canFD ? "multiplexing inside a PDU is not known"
                                              : "only CAN FD frames have PDUs");
            } else {
                add<CANSignal>(SignalKind::Can, PlacedDefinition<canSignalDef_t>{record, definition.place},
                               record.tslId);
            }
        }
    }

    /// Signals that messages find by number: of a bus, or of an input on a module.
    template <class Signal, class Record>
    void addNumbered(SignalKind kind, const std::vector<PlacedDefinition<Record>>& definitions) {
        for (const auto& definition : definitions) {
            add<Signal>(kind, definition, definition.record.tslId);
        }
    }

    /// Signals that messages find by name or address, whatever their trace source.
    template <class Signal, class Record>
    void addNamed(SignalKind kind, const std::vector<PlacedDefinition<Record>>& definitions) {
        for (const auto& definition : definitions) {
            add<Signal>(kind, definition, 0);
        }
    }

  private:
    template <class Signal, class Record>
    void add(SignalKind kind, const PlacedDefinition<Record>& definition, std::uint8_t source) {
        if (catalog.isTaken(definition.record.instance)) {
            drop(definition, "its name is taken");
        } else if (catalog.build<Signal>(definition.record) == nullptr) {
            drop(definition, "the library refuses it");
        } else {
            SignalGroup& group = catalog.groups[static_cast<std::size_t>(kind)];
            group.members.push_back(catalog.allSignals.size() - 1);
            if (std::find(group.sources.begin(), group.sources.end(), source) == group.sources.end()) {
                group.sources.push_back(source);
            }
        }
    }

    template <class Record>
    void drop(const PlacedDefinition<Record>& definition, const std::string& reason) {
        catalog.note(definition.place, NoteSeverity::Error,
                     "signal " + definition.record.instance + " is not decoded: " + reason);
    }

    Catalog& catalog;
};

void Catalog::add(const DbcFile& file, std::optional<std::uint8_t> channel) {
    for (const DbcNote& each : file.notes) {
        note(each.file + ":" + std::to_string(each.line), each.severity, each.message);
    }
    MessageAdder adder(*this, /*renames=*/true);
    for (const CanMessage& message : canMessages(file, channel)) {
        adder.add(message);
    }
    adder.noteRenamed(file.path + ":1");
}

void Catalog::add(const SignalDefinitions& definitions) {
    MessageAdder messages(*this, /*renames=*/false);
    for (const CanMessage& message : canMessages(definitions.can)) {
        messages.add(message);
    }
    RecordAdder records(*this);
    records.addPdus(definitions.can);
    records.addNumbered<LINSignal>(SignalKind::Lin, definitions.lin);
    records.addNumbered<FlexRaySignal>(SignalKind::FlexRay, definitions.flexray);
    records.addNamed<EthernetSignal>(SignalKind::Ethernet, definitions.ethernet);
    records.addNumbered<DigitalSignal>(SignalKind::Digital, definitions.digital);
    records.addNumbered<AnalogSignal>(SignalKind::Analog, definitions.analog);
    records.addNamed<KeyboardSignal>(SignalKind::Keyboard, definitions.keyboard);
    records.addNamed<LoggerStatusSignal>(SignalKind::Status, definitions.status);
    records.addNamed<GPSSignal>(SignalKind::Gps, definitions.gps);
}

std::span<MessageDecoder* const> Catalog::find(const DecoderTable& table, std::uint8_t channel,
                                               std::uint32_t id, bool extended) {
    const auto entry = table.find(tableKey(channel, id, extended));
    return entry != table.end() ? std::span<MessageDecoder* const>(entry->second)
                                : std::span<MessageDecoder* const>();
}

Reception Catalog::receptionOf(BaseSignal& signal) const {
    for (const auto& decoder : allDecoders) {
        const Reception reception = decoder->receptionOf(signal);
        if (reception != Reception::Foreign) {
            return reception;
        }
    }
    if (!isSeen(indexOf(signal.id))) {
        return Reception::NeverSeen;
    }
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    return signal.read(raw, timestamp) ? Reception::Written : Reception::Withdrawn;
}

void Catalog::addDbc(const std::string& path, std::optional<std::uint8_t> channel) {
    add(readDbc(path), channel);
}

void Catalog::addJson(const std::string& path) {
    add(readSignalDefinitions(path));
}

} // namespace rksignal

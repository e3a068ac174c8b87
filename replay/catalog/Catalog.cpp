#include "catalog/Catalog.h"

#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "definition/MultiplexTree.h"
#include "definition/dbc/DbcFile.h"
#include "definition/json/JsonDefinitions.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"

#include <algorithm>
#include <utility>

namespace rksignal {

/// Adds the messages of one file.
class Catalog::FileAdder {
  public:
    /// \param isCopy of messages that a catalog has: none of them is left out, though without the signals
    /// that are not decoded two may mean the same
    FileAdder(Catalog& catalog, DefinitionFile&& file, bool isCopy = false)
        : catalog(catalog), file(std::move(file)), isCopy(isCopy) {}

    /// Frames of CAN come first, whatever else the file holds.
    void add() {
        catalog.allRemarks.append(std::move(file.remarks), file.path);
        const auto isFrame = [](const MessageDefinition& message) {
            return message.kind == SignalKind::Can && !message.pduId;
        };
        std::stable_partition(file.messages.begin(), file.messages.end(), isFrame);
        for (MessageDefinition& message : file.messages) {
            if (isFrame(message)) {
                addFrame(std::move(message));
            } else {
                addOther(std::move(message));
            }
        }
        if (renamed > 0) {
            remark(file.path + ":1", Severity::Note,
                   std::to_string(renamed) + " of its instance names were taken, so " + renamedExample);
        }
        catalog.allRemarks.append(std::move(remarks), file.path);
    }

  private:
    void remark(const std::string& place, Severity severity, std::string text) {
        remarks.add({place, severity, std::move(text)});
    }

    std::vector<MessageDecoder*>& decodersLike(const MessageDefinition& message) {
        return (message.channel ? catalog.bound : catalog.unbound)[tableKeyOf(message)];
    }

    void addFrame(MessageDefinition&& added) {
        auto& decoders = decodersLike(added);
        if (!isCopy && isDefinedAlready(added)) {
            remark(added.place, Severity::Warning,
                   "message " + added.name + " is already defined exactly so");
            return;
        }
        remarkOthers(added, decoders);
        const MessageDefinition& message = catalog.allMessages.emplace_back(std::move(added));
        catalog.byMeaning.emplace(hashOfMeaning(message), &message);
        decoders.push_back(addDecoder(message, catalog.frameDecoders));
        catalog.groupCount += message.isParameterGroup ? 1 : 0;
    }

    bool isDefinedAlready(const MessageDefinition& message) const {
        const auto [first, last] = catalog.byMeaning.equal_range(hashOfMeaning(message));
        return std::any_of(first, last, [&message](const auto& entry) {
            return entry.second->channel == message.channel && sameMeaning(*entry.second, message);
        });
    }

    void remarkOthers(const MessageDefinition& message, const std::vector<MessageDecoder*>& decoders) {
        const auto isFrame = [](const MessageDecoder* decoder) { return !decoder->message().pduId; };
        const auto first = std::find_if(decoders.begin(), decoders.end(), isFrame);
        if (first == decoders.end()) {
            return;
        }
        const auto others = decoders.end() - first - 1;
        remark(message.place, Severity::Note,
               "message " + message.name + " has the " +
                   (message.isParameterGroup ? "parameter group and source address of " : "identifier of ") +
                   (*first)->message().name +
                   (others == 0 ? ", defined otherwise; frames are decoded by both"
                                : " and " + std::to_string(others) +
                                      " more, defined otherwise; frames are decoded by all"));
    }

    MessageDecoder* addDecoder(const MessageDefinition& message,
                               std::vector<std::unique_ptr<MessageDecoder>>& list) {
        const std::vector<bool> usable = usableSignals(message);
        std::vector<CANSignal*> signals(message.signals.size());
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (usable[i]) {
                canSignalDef_t record = message.signals[i].can();
                record.channel = message.channel.value_or(0);
                record.instance = nameFor(record.instance, message.channel);
                signals[i] = build<CANSignal>(std::move(record), message, i);
            }
        }
        return list
            .emplace_back(std::make_unique<MessageDecoder>(message, signals, catalog.allMessages.size() - 1))
            .get();
    }

    /// By index. What is not decodable, or depends on something that is not, is remarked and left out.
    std::vector<bool> usableSignals(const MessageDefinition& message) {
        std::vector<bool> decodable;
        for (const SignalDefinition& signal : message.signals) {
            const char* const reason = whyNotDecodable(signal.can(), message.isParameterGroup);
            const bool isNameTaken = file.choosesInstances && catalog.isTaken(signal.can().instance);
            if (reason != nullptr) {
                drop(signal, std::string("it ") + reason);
            } else if (isNameTaken) {
                drop(signal, "its name is taken", Severity::Error);
            }
            decodable.push_back(reason == nullptr && !isNameTaken);
        }
        std::vector<bool> reachable = reachableSignals(message, decodable);
        for (std::size_t i = 0; i < decodable.size(); ++i) {
            if (decodable[i] && !reachable[i]) {
                drop(message.signals[i], "it depends on a multiplexer that is dropped");
            }
        }
        return reachable;
    }

    std::string nameFor(const std::string& wanted, std::optional<std::uint8_t> channel) {
        const auto isTaken = [this](const std::string& name) { return catalog.isTaken(name); };
        if (!isTaken(wanted)) {
            return wanted;
        }
        std::string name =
            catalog.names.find(channel ? wanted + "@" + std::to_string(*channel) : wanted, isTaken);
        if (renamed++ == 0) {
            renamedExample = wanted + " became " + name;
        }
        return name;
    }

    /// What has no decoder of its frames.
    void addOther(MessageDefinition&& added) {
        const MessageDefinition& message = catalog.allMessages.emplace_back(std::move(added));
        switch (message.kind) {
        case SignalKind::Can:
            return addPdu(message);
        case SignalKind::Lin:
            return addSignals<LINSignal, linSignalDef_t>(message);
        case SignalKind::FlexRay:
            return addSignals<FlexRaySignal, flexRaySignalDef_t>(message);
        case SignalKind::Ethernet:
            return addSignals<EthernetSignal, ethernetSignalDef_t>(message);
        case SignalKind::Digital:
            return addSignals<DigitalSignal, inputSignalDef_t>(message);
        case SignalKind::Analog:
            return addSignals<AnalogSignal, inputSignalDef_t>(message);
        case SignalKind::Keyboard:
            return addSignals<KeyboardSignal, inputSignalDef_t>(message);
        case SignalKind::Status:
            return addSignals<LoggerStatusSignal, inputSignalDef_t>(message);
        case SignalKind::Gps:
            return addSignals<GPSSignal, inputSignalDef_t>(message);
        }
    }

    void addPdu(const MessageDefinition& message) {
        const std::size_t before = catalog.allSignals.size();
        MessageDecoder* const decoder = addDecoder(message, catalog.pduDecoders);
        decodersLike(message).push_back(decoder);
        for (std::size_t signal = before; signal < catalog.allSignals.size(); ++signal) {
            catalog.groups[static_cast<std::size_t>(SignalKind::Can)].members.push_back(signal);
        }
    }

    template <class Signal, class Record>
    void addSignals(const MessageDefinition& message) {
        for (std::size_t i = 0; i < message.signals.size(); ++i) {
            Record record = std::get<Record>(message.signals[i].record);
            if (file.choosesInstances && catalog.isTaken(record.instance)) {
                drop(message.signals[i], "its name is taken", Severity::Error);
                continue;
            }
            record.instance = nameFor(record.instance, message.channel);
            if (build<Signal>(record, message, i) == nullptr) {
                drop(message.signals[i], "the library refuses it", Severity::Error);
            } else {
                addToGroup(message, record.tslId);
            }
        }
    }

    static bool isOfAnyChannel(const MessageDefinition& message) {
        return message.kind != SignalKind::Can && message.kind <= SignalKind::Ethernet && !message.channel;
    }

    /// Puts the last signal into its group. Messages that name their signals themselves come once, whatever
    /// the trace source.
    void addToGroup(const MessageDefinition& message, std::uint8_t tslId) {
        const SignalKind kind = message.kind;
        const bool isNumbered = kind == SignalKind::Lin || kind == SignalKind::FlexRay ||
                                kind == SignalKind::Digital || kind == SignalKind::Analog;
        const std::uint8_t source = isNumbered ? tslId : std::uint8_t{0};
        SignalGroup& group = catalog.groups[static_cast<std::size_t>(kind)];
        group.members.push_back(catalog.allSignals.size() - 1);
        auto& sources = isOfAnyChannel(message) ? group.anyChannelSources : group.sources;
        if (std::find(sources.begin(), sources.end(), source) == sources.end()) {
            sources.push_back(source);
        }
    }

    /// \return the signal, or null if no message could reach it
    template <class Signal, class Record>
    Signal* build(Record record, const MessageDefinition& message, std::size_t index) {
        SignalStorage* storage = &catalog.registry;
        if (isOfAnyChannel(message)) {
            record.channel = 0;
            storage = &catalog.anyChannel;
        }
        auto* const signal =
            static_cast<Signal*>(catalog.adopt(std::make_unique<Signal>(record, catalog.isShared, storage),
                                               {&message, index, catalog.allSignals.size()}));
        if (signal != nullptr && storage != &catalog.registry) {
            catalog.registry.instancesByName.try_emplace(record.instance, signal);
            catalog.registry.instancesById.file(signal->id, signal);
        }
        return signal;
    }

    void drop(const SignalDefinition& signal, const std::string& reason,
              Severity severity = Severity::Warning) {
        remark(signal.place, severity, "signal " + signal.common().instance + " is not decoded: " + reason);
    }

    Catalog& catalog;
    DefinitionFile file;
    bool isCopy;
    RemarkList remarks;
    std::size_t renamed = 0;
    std::string renamedExample;
};

void Catalog::addDbc(const std::string& path, std::optional<std::uint8_t> channel) {
    add(readDbc(path, channel));
}

void Catalog::addDbcText(std::string text, const std::string& name, std::optional<std::uint8_t> channel) {
    add(parseDbc(std::move(text), name, channel));
}

void Catalog::addJson(const std::string& path) {
    add(readJsonDefinitions(path));
}

void Catalog::addJsonText(std::string_view text, const std::string& name) {
    add(parseJsonDefinitions(text, name));
}

void Catalog::addDefinitions(std::span<const DefinitionSource> sources, const DefinitionSettings& settings) {
    for (DefinitionFile& file : readDefinitions(sources, settings)) {
        add(std::move(file));
    }
}

void Catalog::add(DefinitionFile&& file) {
    FileAdder(*this, std::move(file)).add();
}

/// One by one: the messages of one file would be sorted by kind.
void Catalog::addMessagesOf(const Catalog& other) {
    for (MessageDefinition& message : other.decodedMessages()) {
        DefinitionFile file;
        file.choosesInstances = true;
        file.messages.push_back(std::move(message));
        FileAdder(*this, std::move(file), /*isCopy=*/true).add();
    }
}

void Catalog::addStatisticsOf(const Catalog& copy) {
    for (std::size_t i = 0; i < frameDecoders.size(); ++i) {
        frameDecoders[i]->addStatistics(copy.frameDecoders[i]->statistics());
    }
    for (std::size_t i = 0; i < seen.size(); ++i) {
        seen[i] = seen[i] || copy.seen[i];
    }
}

std::vector<MessageDefinition> Catalog::decodedMessages() const {
    std::vector<MessageDefinition> messages;
    std::size_t next = 0; // signals come in the order of their messages
    for (const MessageDefinition& message : allMessages) {
        MessageDefinition& decoded = messages.emplace_back(message);
        decoded.signals.clear();
        std::vector<std::size_t> indices(message.signals.size());
        for (; next < origins.size() && origins[next].message == &message && origins[next].defined == next;
             ++next) {
            indices[origins[next].signal] = decoded.signals.size();
            SignalDefinition& signal = decoded.signals.emplace_back(origins[next].definition());
            signal.common().instance = allSignals[next]->def.instance;
        }
        for (SignalDefinition& signal : decoded.signals) {
            if (signal.multiplexing) {
                signal.multiplexing->multiplexer = indices[*signal.multiplexing->multiplexer];
            }
        }
    }
    return messages;
}

BaseSignal* Catalog::adopt(std::unique_ptr<BaseSignal> signal, const Origin& origin) {
    if (signal->id == 0 || signal->id == ~std::uint64_t{0}) {
        return nullptr;
    }
    if (allSignals.empty()) {
        firstNumber = runningNumber(signal->id);
    }
    indexByNumber.resize(runningNumber(signal->id) - firstNumber + 1);
    indexByNumber.back() = allSignals.size();
    origins.push_back(origin);
    seen.push_back(false);
    return allSignals.emplace_back(std::move(signal)).get();
}

std::uint64_t Catalog::tableKeyOf(const MessageDefinition& message) {
    const std::uint8_t channel = message.channel.value_or(0);
    if (!message.isParameterGroup) {
        return tableKey(channel, message.id, message.extended);
    }
    return j1939::sourceOf(message.id) == j1939::nullAddress ? anySourceKey(channel, message.id)
                                                             : groupKey(channel, message.id);
}

std::span<MessageDecoder* const> Catalog::find(const DecoderTable& table, std::uint64_t key) {
    const auto entry = table.find(key);
    return entry != table.end() ? std::span<MessageDecoder* const>(entry->second)
                                : std::span<MessageDecoder* const>();
}

Reception Catalog::receptionOf(BaseSignal& signal) const {
    for (const auto* const decoders : {&frameDecoders, &pduDecoders}) {
        for (const auto& decoder : *decoders) {
            const Reception reception = decoder->receptionOf(signal);
            if (reception != Reception::Foreign) {
                return reception;
            }
        }
    }
    if (!isSeen(indexOf(signal.id))) {
        return Reception::NeverSeen;
    }
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    return signal.read(raw, timestamp) ? Reception::Written : Reception::Withdrawn;
}

} // namespace rksignal

#include "page/MessageTable.h"

#include "page/PageSizes.h"
#include "survey/DefinedFrames.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace rksignal {
namespace {

bool hasFrameIdentity(SignalKind kind) {
    return kind == SignalKind::Can || kind == SignalKind::Lin || kind == SignalKind::FlexRay;
}

/// Identities that do not tell which definitions are theirs.
bool isWithoutName(SignalKind kind) {
    return kind == SignalKind::Ethernet || kind == SignalKind::Keyboard || kind == SignalKind::Status;
}

std::string identifierOf(const MessageDefinition& message) {
    return hasFrameIdentity(message.kind)
               ? identityText({message.kind, message.extended, message.channel, message.id, {}})
               : std::string();
}

/// Of a message without one the name of its first signal.
std::string nameOfMessage(const MessageDefinition& message) {
    return message.name.empty() && !message.signals.empty() ? message.signals.front().common().instance
                                                            : message.name;
}

/// PDUs in frames have rows of their own.
std::vector<const MessageDefinition*> framesOnly(std::vector<const MessageDefinition*> messages) {
    std::erase_if(messages, [](const MessageDefinition* message) { return message->pduId.has_value(); });
    return messages;
}

using Ids = std::vector<unsigned long>;

/// The signals of an input of its own: digital and analog ones have a number, of GPS there is one. Keys and
/// statuses are known by names, which identities do not have.
std::vector<std::size_t> signalsOfInput(const Catalog& catalog, const FrameIdentity& identity) {
    std::vector<std::size_t> signals;
    const bool hasNumber = identity.kind == SignalKind::Digital || identity.kind == SignalKind::Analog;
    if (hasNumber || identity.kind == SignalKind::Gps) {
        signals = catalog.group(identity.kind).members;
        std::erase_if(signals, [&](std::size_t signal) {
            return hasNumber && catalog.signals()[signal]->def.channel != identity.id;
        });
    }
    return signals;
}

std::string namesOf(const std::vector<std::size_t>& signals, const Catalog& catalog) {
    constexpr std::size_t most = 3;
    std::string names;
    for (std::size_t i = 0; i < std::min(most, signals.size()); ++i) {
        names += (i > 0 ? ", " : "") + catalog.signals()[signals[i]]->def.instance;
    }
    return names + (signals.size() > most ? ", ..." : "");
}

} // namespace

std::string_view busName(SignalKind kind) {
    constexpr std::array<std::string_view, signalKinds> names = {
        "CAN", "LIN", "FlexRay", "Ethernet", "Digital", "Analog", "Keyboard", "Status", "GPS"};
    return names[static_cast<std::size_t>(kind)];
}

MessageTable::MessageTable(Catalog& catalog, const Audit& audit, std::span<const Finding> findings,
                           const CurveRecorder& curves) {
    addFrames(catalog, audit, findings);
    addDefinitions(catalog, curves);
    limitAndSort();
    connectSignals(catalog);
}

void MessageTable::addFrames(Catalog& catalog, const Audit& audit, std::span<const Finding> findings) {
    std::set<Place> undefined;
    for (const Finding& finding : findings) {
        if (finding.rule == AuditRule::Undefined) {
            undefined.emplace(finding.kind, finding.channel, finding.identifier);
        }
    }
    DefinedFrames defined(catalog);
    for (const FrameStatistics& each : audit.survey().frames()) {
        const SignalKind kind = each.identity.kind;
        Row row{{kind, each.identity.channel, identityText(each.identity)}};
        row.frames = &each;
        row.count = each.count;
        const std::vector<std::size_t> ofInput = signalsOfInput(catalog, each.identity);
        row.name = defined.namesOf(each.identity) + namesOf(ofInput, catalog);
        for (const std::size_t signal : ofInput) {
            matched.insert(catalog.origin(signal).message);
        }
        for (const MessageDefinition* const message : framesOnly(defined.of(each.identity))) {
            row.comment += row.comment.empty() ? message->comment : "";
            matched.insert(message);
        }
        const bool hasDefinition =
            isWithoutName(kind) ? !catalog.group(kind).members.empty() : !row.name.empty();
        row.isDecoded = hasDefinition && !undefined.contains(row.place);
        rows.push_back(std::move(row));
    }
}

void MessageTable::addDefinitions(const Catalog& catalog, const CurveRecorder& curves) {
    std::unordered_map<const MessageDefinition*, std::uint64_t> counts;
    for (const std::size_t signal : curves.signals()) {
        std::uint64_t& count = counts[catalog.origin(signal).message];
        count = std::max(count, curves.curve(signal).count());
    }
    for (const MessageDefinition& message : catalog.messages()) {
        const auto count = counts.find(&message);
        if (!matched.contains(&message) && count != counts.end()) {
            const Place place(message.kind, message.channel, identifierOf(message));
            rows.push_back(
                {place, nameOfMessage(message), message.comment, nullptr, &message, count->second, true});
        }
    }
}

void MessageTable::limitAndSort() {
    if (rows.size() > maxRows) {
        std::ranges::stable_sort(rows, [](const Row& first, const Row& second) {
            return std::tuple(!first.isDecoded, second.count) < std::tuple(!second.isDecoded, first.count);
        });
        left = rows.size() - maxRows;
        rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(maxRows), rows.end());
    }
    const auto order = [](const Row& row) {
        const auto& [kind, channel, identifier] = row.place;
        return std::tuple(kind, channel, identifier.size(), identifier, row.name);
    };
    std::ranges::stable_sort(rows, {}, order);
}

void MessageTable::connectSignals(Catalog& catalog) {
    rowBySignal.resize(catalog.signals().size());
    std::unordered_map<const MessageDefinition*, std::size_t> rowByMessage;
    DefinedFrames defined(catalog);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rowByPlace.emplace(rows[row].place, row);
        if (rows[row].frames == nullptr) {
            rowByMessage.emplace(rows[row].definition, row);
            continue;
        }
        connectFrames(catalog, row);
        for (const MessageDefinition* const message : framesOnly(defined.of(rows[row].frames->identity))) {
            rowByMessage.emplace(message, row);
        }
    }
    for (std::size_t signal = 0; signal < rowBySignal.size(); ++signal) {
        const auto found = rowByMessage.find(catalog.origin(signal).message);
        if (found != rowByMessage.end()) {
            connect(signal, found->second);
        }
    }
}

/// Of CAN each decoder has signals of its own, also where one definition is for several senders; an input has
/// some of those of a definition.
void MessageTable::connectFrames(Catalog& catalog, std::size_t row) {
    const FrameIdentity& identity = rows[row].frames->identity;
    for (const std::size_t signal : signalsOfInput(catalog, identity)) {
        connect(signal, row);
    }
    if (identity.kind != SignalKind::Can) {
        return;
    }
    const auto connectAll = [&](const auto& lists) {
        for (const auto decoders : lists) {
            for (const MessageDecoder* const decoder : decoders) {
                for (const unsigned long id : decoder->message().pduId ? Ids() : decoder->signals()) {
                    connect(catalog.indexOf(id), row);
                }
            }
        }
    };
    connectAll(catalog.decodersOf(identity.channel.value_or(0), identity.id, identity.extended));
    if (identity.extended && catalog.hasParameterGroups()) {
        connectAll(catalog.groupDecodersOf(identity.channel.value_or(0), identity.id));
    }
}

void MessageTable::connect(std::size_t signal, std::size_t row) {
    if (signal < rowBySignal.size() && !rowBySignal[signal]) {
        rowBySignal[signal] = row;
    }
}

std::optional<std::size_t> MessageTable::rowOfSignal(std::size_t signal) const {
    return signal < rowBySignal.size() ? rowBySignal[signal] : std::nullopt;
}

std::optional<std::size_t> MessageTable::rowOfFinding(const Finding& finding) const {
    const auto found = rowByPlace.find({finding.kind, finding.channel, finding.identifier});
    return found != rowByPlace.end() ? std::optional(found->second) : std::nullopt;
}

PageJson MessageTable::jsonOf(const Row& row) {
    const auto& [kind, channel, identifier] = row.place;
    const bool hasInterval = row.frames != nullptr && row.frames->cycle.count() > 0;
    const std::size_t length = row.frames != nullptr ? row.frames->longest : row.definition->length;
    return {
        {"name", boundedText(row.name, page_sizes::name)},
        {"bus", busName(kind)},
        {"channel", channel ? PageJson(*channel) : PageJson()},
        {"id", identifier},
        {"count", row.count},
        {"interval", hasInterval ? PageJson((row.frames->cycle.percentile(50) + 500) / 1000) : PageJson()},
        {"length", length},
        {"comment", boundedText(row.comment, page_sizes::comment)},
        {"decoded", row.isDecoded}};
}

PageJson MessageTable::json() const {
    PageJson all = PageJson::array();
    for (const Row& row : rows) {
        all.push_back(jsonOf(row));
    }
    return all;
}

} // namespace rksignal
